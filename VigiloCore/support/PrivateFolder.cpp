#include "support/PrivateFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/Log.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "security"};

FileError errorAt(const std::string& path, int code) {
  return {code, path + ": " + std::strerror(code)};
}

}  // namespace

std::optional<FileError> makePrivateFolder(const std::string& path) {
  if (auto error = makeFolders(path, 0700)) return error;
  struct stat found {};
  if (::stat(path.c_str(), &found) != 0) return errorAt(path, errno);
  constexpr mode_t writtenByOthers = S_IWGRP | S_IWOTH;
  if (found.st_uid != ::geteuid()) return FileError{EPERM, path + ": the folder belongs to another user"};
  if ((found.st_mode & writtenByOthers) == 0) return std::nullopt;
  if (::chmod(path.c_str(), found.st_mode & 07777 & ~writtenByOthers) != 0) return errorAt(path, errno);
  logger.error("Other users could write in %s: they cannot any more", path);
  return std::nullopt;
}

}  // namespace vigilo
