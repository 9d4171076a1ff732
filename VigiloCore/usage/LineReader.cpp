#include "usage/LineReader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vigilo {
namespace {

// Small enough to stay in the processor's second-level cache between the read and the search.
constexpr std::size_t blockSize = std::size_t{256} << 10;
constexpr std::size_t largestBuffer = LineReader::longestLine + 1;  // with the line feed

std::size_t readAt(int fd, char* into, std::size_t size, std::uint64_t offset) {
  ssize_t count = 0;
  do {
    count = ::pread(fd, into, size, static_cast<off_t>(offset));
  } while (count < 0 && errno == EINTR);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace

void LineReader::grow(std::size_t used) {
  capacity_ = capacity_ == 0 ? blockSize : std::min(capacity_ * 2, largestBuffer);
  auto larger = std::make_unique_for_overwrite<char[]>(capacity_ + padding);
  if (used > 0) std::memcpy(larger.get(), buffer_.get(), used);
  buffer_ = std::move(larger);
}

// Hands out the lines of the buffer's first `used` bytes, of which those before `fresh` are known to hold no
// line feed. Returns how many bytes are done with.
std::size_t LineReader::handOut(std::size_t used, std::size_t fresh, Position& position,
                                const Handler& onLine) {
  char* const text = buffer_.get();
  std::memset(text + used, 0, padding);  // so that nobody reads what was never written
  std::size_t start = 0;
  while (const void* found = std::memchr(text + fresh, '\n', used - fresh)) {
    const auto end = static_cast<std::size_t>(static_cast<const char*>(found) - text);
    if (!position.isWithinSkippedLine) onLine({text + start, end - start}, true);
    position.isWithinSkippedLine = false;
    start = fresh = end + 1;
  }
  if (start == 0 && used == largestBuffer) position.isWithinSkippedLine = true;
  return position.isWithinSkippedLine ? used : start;
}

void LineReader::read(int fd, Position& position, const Handler& onLine) {
  std::size_t used = 0;  // bytes in the buffer, all of them from `position` on
  for (;;) {
    if (used == capacity_) grow(used);
    const std::size_t count = readAt(fd, buffer_.get() + used, capacity_ - used, position.offset + used);
    if (count == 0) break;
    const std::size_t fresh = used;
    used += count;
    const std::size_t done = handOut(used, fresh, position, onLine);
    position.offset += done;
    used -= done;
    std::memmove(buffer_.get(), buffer_.get() + done, used);
  }
  if (used > 0 && onLine({buffer_.get(), used}, false)) position.offset += used;
}

}  // namespace vigilo
