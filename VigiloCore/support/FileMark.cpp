#include "support/FileMark.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace vigilo {

std::optional<FileMark> FileMark::from(const struct ::stat& status) {
  if (!S_ISREG(status.st_mode)) return std::nullopt;
#if defined(__APPLE__)
  const timespec& modified = status.st_mtimespec;
#else
  const timespec& modified = status.st_mtim;
#endif
  return FileMark{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
                  std::int64_t{modified.tv_sec} * 1'000'000'000 + modified.tv_nsec};
}

std::optional<FileMark> FileMark::of(int fd) {
  struct ::stat status {};
  if (::fstat(fd, &status) != 0) return std::nullopt;
  return from(status);
}

std::optional<FileMark> FileMark::of(const std::string& path) {
  return of(AT_FDCWD, path.c_str());
}

std::optional<FileMark> FileMark::of(int folder, const char* name) {
  struct ::stat status {};
  if (::fstatat(folder, name, &status, 0) != 0) return std::nullopt;
  return from(status);
}

}  // namespace vigilo
