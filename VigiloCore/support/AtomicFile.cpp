#include "support/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/UniqueFd.h"

namespace vigilo {
namespace {

FileError errorAt(const std::string& path, int code) {
  return {code, path + ": " + std::strerror(code)};
}

std::string parentOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool writeWhole(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(fd, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool fillTemporary(int fd, const std::string& path, std::string_view bytes, FileWriteOptions options) {
  struct stat existing {};
  const mode_t mode =
      ::stat(path.c_str(), &existing) == 0 ? existing.st_mode & 07777 : static_cast<mode_t>(options.mode);
  if (::fchmod(fd, mode) != 0 || !writeWhole(fd, bytes)) return false;
  return !options.syncToDisk || ::fsync(fd) == 0;
}

}  // namespace

std::optional<FileError> makeFolders(const std::string& path, int mode) {
  if (path.empty() || ::mkdir(path.c_str(), static_cast<mode_t>(mode)) == 0) return std::nullopt;
  if (errno == ENOENT && path != "/") {
    if (auto error = makeFolders(parentOf(path), mode)) return error;
    if (::mkdir(path.c_str(), static_cast<mode_t>(mode)) == 0) return std::nullopt;
  }
  const int code = errno;
  struct stat found {};
  if (::stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode)) return std::nullopt;
  return errorAt(path, code == EEXIST ? ENOTDIR : code);
}

std::optional<FileError> replaceFile(const std::string& path, std::string_view bytes,
                                     const WriteGate& mayWrite, FileWriteOptions options) {
  if (!mayWrite(path)) return FileError{EPERM, path + ": Vigilo does not write here"};
  const std::string folder = parentOf(path);
  if (auto error = makeFolders(folder, 0700)) return error;
  std::string temporary = path + ".XXXXXX";
  UniqueFd fd(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!fd) return errorAt(folder, errno);
  if (!fillTemporary(fd.get(), path, bytes, options) || ::rename(temporary.c_str(), path.c_str()) != 0) {
    const int code = errno;
    ::unlink(temporary.c_str());
    return errorAt(path, code);
  }
  if (options.syncToDisk) {
    const UniqueFd directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) ::fsync(directory.get());
  }
  return std::nullopt;
}

Result<std::string, FileError> readFile(const std::string& path, std::size_t limit) {
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) return errorAt(path, errno);
  std::string text;
  char block[16384];
  for (;;) {
    const ssize_t count = ::read(fd.get(), block, sizeof block);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errorAt(path, errno);
    if (count == 0) return text;
    if (text.size() + static_cast<std::size_t>(count) > limit) return errorAt(path, EFBIG);
    text.append(block, static_cast<std::size_t>(count));
  }
}

}  // namespace vigilo
