#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "support/AtomicFile.h"
#include "usage/UsageRecords.h"

namespace vigilo {

// The file beside the usage store's own that takes what was recorded since that one was last written whole:
// one event a line, as the store's file holds them, appended as they come. A last line without its line feed
// was cut short and counts for nothing. Nobody else writes it. Not thread-safe.
class UsageJournal {
 public:
  // False for an event that cannot be.
  using Taker = std::function<bool(UsageEvent)>;

  UsageJournal(std::string path, WriteGate mayWrite);

  const std::string& path() const { return path_; }
  // Of what was read and appended, in bytes.
  std::uint64_t size() const { return size_; }

  // Hands out the events of the opened journal, in order.
  void read(std::istream& journal, const Taker& take);
  // Whether whole lines were read that hold no event: what else they may hold must not be thrown away.
  bool isDamaged() const { return isDamaged_; }

  // Whether the journal holds what was read and appended, to the byte: only then may more be appended.
  bool isIntact() const;
  // Absent on success; after a failure the journal holds what it held before, or is not intact.
  std::optional<FileError> append(std::span<const std::string_view> events);
  // Absent where there is no journal any more.
  std::optional<FileError> remove();

 private:
  const std::string path_;
  const WriteGate mayWrite_;
  std::uint64_t size_ = 0;
  bool isDamaged_ = false;
};

}  // namespace vigilo
