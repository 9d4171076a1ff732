#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/AtomicFile.h"
#include "support/FileMark.h"
#include "usage/UsageJournal.h"
#include "usage/UsageLedger.h"

namespace vigilo {

// The file in which the usage store keeps its ledger, and the journal beside it. A small file is replaced as
// a whole, atomically, by every save. Once it holds a megabyte, saves append to the journal, "….journal",
// until that has grown to an eighth of the file and is folded in; so an event costs some kilobytes at most,
// however long the history is. The file is whole at any moment, and file and journal together hold
// everything.
//
// What cannot be understood or read is never overwritten: it is moved aside, "usage_store.json.unreadable",
// then ".unreadable.1" and so on, before the first save. Nobody else writes the two. Not thread-safe.
class UsageStoreFile {
 public:
  // A file that is smaller has no journal.
  static constexpr std::uint64_t journalFrom = 1 << 20;  // bytes
  // What part of the file the journal may be.
  static constexpr std::uint64_t journalShare = 8;

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

  // Saves the ledger, which since the last load or save has only grown. Absent on success; after a failure
  // the files hold what they held before.
  std::optional<FileError> save(const UsageLedger& ledger);
  // Saves a ledger that has nothing to do with what the files hold: none of it comes back.
  std::optional<FileError> replace(const UsageLedger& ledger);

  // The files that hold the ledger.
  std::vector<std::string> paths() const { return {path_, journal_.path()}; }

 private:
  Loaded loadWhole();
  bool mayAppend() const;
  void fold(const UsageLedger& ledger);
  std::optional<FileError> saveWhole(const UsageLedger& ledger);
  std::optional<FileError> endJournal();
  std::optional<FileError> moveUnreadableAside();
  bool moveAside(const std::string& path, const std::string& reason);

  const std::string path_;
  const WriteGate mayWrite_;
  UsageJournal journal_;
  std::optional<FileMark>
      written_;  // the file as it was read or written last; absent where it is to be rewritten
  std::size_t savedEvents_ = 0;            // how many file and journal hold
  std::uint64_t foldFrom_ = 0;             // the journal's size from which it is folded in
  std::optional<std::string> unreadable_;  // why the file that is there must be kept
  std::optional<FileError> barred_;        // why nothing is saved in this run
};

}  // namespace vigilo
