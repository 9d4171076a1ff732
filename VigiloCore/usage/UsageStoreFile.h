#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "support/AtomicFile.h"
#include "usage/UsageLedger.h"

namespace vigilo {

// The file in which the usage store keeps its ledger. Every save replaces the whole file atomically. A file
// that cannot be understood or read is never overwritten: it is moved aside, "usage_store.json.unreadable",
// then ".unreadable.1" and so on, before the first save. Nobody else writes the file. Not thread-safe.
class UsageStoreFile {
 public:
  UsageStoreFile(std::string path, WriteGate mayWrite);

  const std::string& path() const { return path_; }

  struct Loaded {
    UsageLedger ledger;                         // empty where there is no file, or none that can be read
    std::optional<std::int64_t> schemaVersion;  // of a file in the current format
    bool isOfOldFormat = false;                 // and so to be saved in the current one
  };
  Loaded load();

  // Why the file that stands there is no store that `load` could read; absent where it was read, where there
  // is none, and once it was moved aside.
  const std::optional<std::string>& unreadable() const { return unreadable_; }

  // Absent on success. After a failure the file is as it was before.
  std::optional<FileError> save(const UsageLedger& ledger);

 private:
  std::optional<FileError> moveUnreadableAside();

  const std::string path_;
  const WriteGate mayWrite_;
  std::optional<std::string> unreadable_;  // why the file that is there must be kept
  std::optional<FileError> barred_;        // why nothing is saved in this run
};

}  // namespace vigilo
