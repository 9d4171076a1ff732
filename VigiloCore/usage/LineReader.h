#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace vigilo {

// Reads what was added to a growing file, line by line, in bounded memory. The file is read in blocks; the
// buffer grows only for a line that is longer than a block. A line beyond the limit is skipped. Not
// thread-safe.
class LineReader {
 public:
  // A model's longest answer takes about a megabyte of log; longer lines are tool results and images.
  static constexpr std::size_t longestLine = std::size_t{4} << 20;
  // So many bytes behind every line that is handed out may be read; what they hold means nothing.
  static constexpr std::size_t padding = 128;

  // How far a file is read; a new one starts with the default. The file is the caller's to tell apart.
  struct Position {
    std::uint64_t offset = 0;          // of the first line not yet handed out, in bytes
    bool isWithinSkippedLine = false;  // the bytes up to the next line feed belong to a line beyond the limit
  };

  // A line without its line feed, valid during the call. The last one may have none yet (`isTerminated`
  // false): the handler then says whether it takes it as it is, or else it is read again once it has grown.
  using Handler = std::function<bool(std::string_view line, bool isTerminated)>;

  // Hands out the lines from `position` to the end of the file, and moves `position`. A failing read ends it
  // like the end of the file.
  void read(int fd, Position& position, const Handler& onLine);

 private:
  void grow(std::size_t used);
  std::size_t handOut(std::size_t used, std::size_t fresh, Position& position, const Handler& onLine);

  std::size_t capacity_ = 0;  // without the padding
  std::unique_ptr<char[]> buffer_;
};

}  // namespace vigilo
