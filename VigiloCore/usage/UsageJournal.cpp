#include "usage/UsageJournal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <istream>
#include <utility>
#include <vector>

#include "support/RecordCoder.h"

namespace vigilo {

UsageJournal::UsageJournal(std::string path, WriteGate mayWrite)
    : path_(std::move(path)), mayWrite_(std::move(mayWrite)) {}

void UsageJournal::read(std::istream& journal, const Taker& take) {
  // `getline` sets eof for a last line without a line feed only.
  for (std::string line; std::getline(journal, line) && !journal.eof();) {
    size_ += line.size() + 1;
    auto event = decodeRecord<UsageEvent>(line);
    if (!event || !take(*std::move(event))) isDamaged_ = true;
  }
}

bool UsageJournal::isIntact() const {
  struct stat found {};
  if (::lstat(path_.c_str(), &found) != 0) return errno == ENOENT && size_ == 0;
  return !isDamaged_ && S_ISREG(found.st_mode) && static_cast<std::uint64_t>(found.st_size) == size_;
}

std::optional<FileError> UsageJournal::append(std::span<const std::string_view> events) {
  std::vector<std::string_view> pieces;
  std::uint64_t added = 0;
  for (const std::string_view event : events) {
    pieces.insert(pieces.end(), {event, "\n"});
    added += event.size() + 1;
  }
  if (auto error = appendToFile(path_, pieces, mayWrite_)) return error;
  size_ += added;
  return std::nullopt;
}

std::optional<FileError> UsageJournal::remove() {
  if (!mayWrite_(path_)) return FileError{EPERM, path_ + ": Vigilo does not write here"};
  if (::unlink(path_.c_str()) != 0 && errno != ENOENT) {
    return FileError{errno, path_ + " cannot be removed: " + std::strerror(errno)};
  }
  size_ = 0;
  isDamaged_ = false;
  return std::nullopt;
}

}  // namespace vigilo
