#include "support/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "support/RegularFile.h"
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

bool writeWhole(int fd, std::span<const std::string_view> pieces) {
  constexpr std::size_t batchSize = 256;  // pieces a system call
  iovec batch[batchSize];
  std::size_t written = 0;  // of the first piece
  while (!pieces.empty()) {
    const std::size_t count = std::min(batchSize, pieces.size());
    for (std::size_t i = 0; i < count; ++i) {
      const std::string_view rest = pieces[i].substr(i == 0 ? written : 0);
      batch[i] = {const_cast<char*>(rest.data()), rest.size()};
    }
    const ssize_t result = ::writev(fd, batch, static_cast<int>(count));
    if (result < 0 && errno == EINTR) continue;
    if (result < 0) return false;
    written += static_cast<std::size_t>(result);
    while (!pieces.empty() && written >= pieces.front().size()) {
      written -= pieces.front().size();
      pieces = pieces.subspan(1);
    }
  }
  return true;
}

bool fillTemporary(int fd, const std::string& path, std::span<const std::string_view> pieces,
                   FileWriteOptions options) {
  struct stat existing {};
  const mode_t mode =
      ::stat(path.c_str(), &existing) == 0 ? existing.st_mode & 07777 : static_cast<mode_t>(options.mode);
  if (::fchmod(fd, mode) != 0 || !writeWhole(fd, pieces)) return false;
  return !options.syncToDisk || ::fsync(fd) == 0;
}

void syncFolder(const std::string& folder) {
  const UniqueFd directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory) ::fsync(directory.get());
}

// No user names a copy of the file like that.
std::string temporaryPattern(const std::string& path) {
  return path + ".writing-XXXXXX";
}

bool isTemporaryOf(const std::string& path, const std::string& candidate) {
  const std::string pattern = temporaryPattern(path);
  return candidate.size() == pattern.size() &&
         candidate.starts_with(std::string_view(pattern).substr(0, pattern.size() - 6));
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
  return replaceFile(path, std::span(&bytes, 1), mayWrite, options);
}

std::optional<FileError> replaceFile(const std::string& path, std::span<const std::string_view> pieces,
                                     const WriteGate& mayWrite, FileWriteOptions options) {
  if (!mayWrite(path)) return FileError{EPERM, path + ": Vigilo does not write here"};
  const std::string folder = parentOf(path);
  if (options.makeFolder) {
    if (auto error = makeFolders(folder, 0700)) return error;
  }
  std::string temporary = temporaryPattern(path);
  UniqueFd fd(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!fd) return errorAt(folder, errno);
  if (!fillTemporary(fd.get(), path, pieces, options) || ::rename(temporary.c_str(), path.c_str()) != 0) {
    const int code = errno;
    ::unlink(temporary.c_str());
    return errorAt(path, code);
  }
  if (options.syncToDisk) syncFolder(folder);
  return std::nullopt;
}

std::optional<FileError> appendToFile(const std::string& path, std::span<const std::string_view> pieces,
                                      const WriteGate& mayWrite, int mode) {
  if (!mayWrite(path)) return FileError{EPERM, path + ": Vigilo does not write here"};
  const auto fd = openFile(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW, mode);
  if (!fd) return fd.error();
  struct stat before {};
  if (::fstat(fd->get(), &before) != 0) return errorAt(path, errno);
  if (!writeWhole(fd->get(), pieces)) {
    const int code = errno;
    // What cannot be cut either is for the reader to recognise.
    [[maybe_unused]] const int cut = ::ftruncate(fd->get(), before.st_size);
    return errorAt(path, code);
  }
  return std::nullopt;
}

std::optional<FileError> syncFile(const std::string& path) {
  const auto fd = openFile(path, O_RDONLY);
  if (!fd) return fd.error();
  if (::fsync(fd->get()) != 0) return errorAt(path, errno);
  syncFolder(parentOf(path));
  return std::nullopt;
}

void removeLeftTemporaries(const std::string& path, const WriteGate& mayWrite) {
  std::error_code unreadable;  // a folder that cannot be listed holds nothing that could be removed
  for (std::filesystem::directory_iterator entry(parentOf(path), unreadable), end;
       !unreadable && entry != end; entry.increment(unreadable)) {
    const std::string candidate = entry->path().string();
    if (isTemporaryOf(path, candidate) && mayWrite(candidate)) ::unlink(candidate.c_str());
  }
}

Result<std::string, FileError> readFile(const std::string& path, std::size_t limit) {
  const auto fd = openFile(path, O_RDONLY);
  if (!fd) return fd.error();
  std::string text;
  char block[16384];
  for (;;) {
    const ssize_t count = ::read(fd->get(), block, sizeof block);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errorAt(path, errno);
    if (count == 0) return text;
    if (text.size() + static_cast<std::size_t>(count) > limit) return errorAt(path, EFBIG);
    text.append(block, static_cast<std::size_t>(count));
  }
}

}  // namespace vigilo
