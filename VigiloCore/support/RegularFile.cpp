#include "support/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace vigilo {
namespace {

FileError errorAt(const std::string& path, int code) {
  return {code, path + ": " + std::strerror(code)};
}

}  // namespace

Result<UniqueFd, FileError> openFile(const std::string& path, int flags, int mode) {
  UniqueFd fd(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, static_cast<mode_t>(mode)));
  const int code = errno;
  struct stat found {};
  const bool isThere = fd ? ::fstat(fd.get(), &found) == 0 : ::stat(path.c_str(), &found) == 0;
  if (isThere && S_ISDIR(found.st_mode)) return errorAt(path, EISDIR);
  if (isThere && !S_ISREG(found.st_mode)) return FileError{EINVAL, path + ": not a regular file"};
  if (!fd) return errorAt(path, code);
  return fd;
}

}  // namespace vigilo
