#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "support/Date.h"

struct stat;

namespace vigilo {

// What tells one state of a regular file from another without opening it: which file it is, how long it is
// and when it was last written. A plain value. Functions return nothing where there is no regular file.
struct FileMark {
  dev_t device = 0;
  ino_t inode = 0;
  std::uint64_t size = 0;                // bytes
  std::int64_t modifiedNanoseconds = 0;  // since 1970

  static std::optional<FileMark> of(int fd);
  static std::optional<FileMark> of(const std::string& path);
  // Of a name in an open folder; a symbolic link counts as what it leads to.
  static std::optional<FileMark> of(int folder, const char* name);

  Date modifiedAt() const { return Date::fromUnix(static_cast<double>(modifiedNanoseconds) / 1e9); }
  bool isSameFile(const FileMark& other) const { return device == other.device && inode == other.inode; }
  bool operator==(const FileMark&) const = default;

 private:
  static std::optional<FileMark> from(const struct ::stat& status);
};

}  // namespace vigilo
