#include "usage/UsageStoreFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <utility>
#include <vector>

#include "helper/VigiloWritePolicy.h"
#include "support/Log.h"
#include "support/RegularFile.h"
#include "usage/UsageStoreReader.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "usage.store"};

// Zero where something stands at the path, else why not.
int lookUp(const std::string& path) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0 ? 0 : errno;
}

bool isAbsent(const std::string& path) {
  const int code = lookUp(path);
  return code == ENOENT || code == ENOTDIR;
}

}  // namespace

UsageStoreFile::UsageStoreFile(std::string path, WriteGate mayWrite)
    : path_(std::move(path)), mayWrite_(std::move(mayWrite)), journal_(path_ + ".journal", mayWrite_) {}

UsageStoreFile::Loaded UsageStoreFile::load() {
  removeLeftTemporaries(path_, mayWrite_);
  // Opened before the file: if it is folded in meanwhile, it is read all the same.
  std::ifstream journal;
  if (FileMark::of(journal_.path())) journal.open(journal_.path(), std::ios::binary);
  Loaded loaded = loadWhole();
  // The journal's beginning is in the file already where folding it in was cut short.
  journal_.read(journal, [&ledger = loaded.ledger](UsageEvent event) {
    return ledger.add(std::move(event)) != UsageLedger::Addition::refused;
  });
  savedEvents_ = loaded.ledger.eventCount();
  return loaded;
}

UsageStoreFile::Loaded UsageStoreFile::loadWhole() {
  if (isAbsent(path_)) return {};
  std::vector<char> buffer(1 << 18);
  std::ifstream file;
  file.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
  const auto mark = FileMark::of(path_);
  // Opening a FIFO would wait for whoever writes there.
  if (const auto opened = openFile(path_, O_RDONLY); !opened && opened.error().code == EINVAL) {
    unreadable_ = "not a regular file";
    return {};
  }
  file.open(path_, std::ios::binary);
  if (!file) {
    unreadable_ = std::strerror(errno);
    return {};
  }
  auto content = readUsageStore(file);
  if (!content) {
    unreadable_ = content.error().description;
    return {};
  }
  if (content->schemaVersion && mark) {
    written_ = mark;
    foldFrom_ = mark->size / journalShare;
  }
  return {std::move(content->ledger), content->schemaVersion, !content->schemaVersion};
}

std::optional<FileError> UsageStoreFile::save(const UsageLedger& ledger) {
  if (!mayAppend()) return saveWhole(ledger);
  if (auto error = journal_.append(ledger.encodedEvents(savedEvents_))) return error;
  savedEvents_ = ledger.eventCount();
  if (journal_.size() >= foldFrom_) fold(ledger);
  return std::nullopt;
}

bool UsageStoreFile::mayAppend() const {
  return written_ && written_->size >= journalFrom && FileMark::of(path_) == written_ && journal_.isIntact();
}

// Where it fails, the journal goes on: everything is in it.
void UsageStoreFile::fold(const UsageLedger& ledger) {
  foldFrom_ += written_->size / journalShare;
  if (const auto error = saveWhole(ledger)) {
    logger.error("The usage store's journal grows on, it cannot be folded in: %s", error->description);
  }
}

std::optional<FileError> UsageStoreFile::saveWhole(const UsageLedger& ledger) {
  if (unreadable_ && !barred_) barred_ = moveUnreadableAside();
  if (barred_) return barred_;
  if (!mayWrite_(path_)) {
    return FileError{EPERM, VigiloWriteSecurityError::notOwned(path_).localizedDescription()};
  }
  // What the journal holds may be on the disk already, and is not given up for less.
  const FileWriteOptions options{.syncToDisk = journal_.size() > 0};
  if (auto error = replaceFile(path_, ledger.filePieces(), mayWrite_, options)) return error;
  if (auto error = endJournal()) return error;
  written_ = FileMark::of(path_);
  foldFrom_ = written_ ? written_->size / journalShare : 0;
  savedEvents_ = ledger.eventCount();
  return std::nullopt;
}

std::optional<FileError> UsageStoreFile::replace(const UsageLedger& ledger) {
  written_.reset();
  if (auto error = endJournal()) return error;
  return saveWhole(ledger);
}

std::optional<FileError> UsageStoreFile::endJournal() {
  if (journal_.isDamaged() && !moveAside(journal_.path(), "some of its lines hold no event")) {
    return FileError{EACCES, journal_.path() + " is damaged and cannot be moved aside"};
  }
  return journal_.remove();
}

std::optional<FileError> UsageStoreFile::moveUnreadableAside() {
  if (!moveAside(path_, *unreadable_) && !isAbsent(path_)) {
    return FileError{EACCES, path_ + " cannot be read (" + *unreadable_ +
                                 ") nor moved aside; nothing is saved, so that nothing in it is lost"};
  }
  unreadable_.reset();
  return std::nullopt;
}

bool UsageStoreFile::moveAside(const std::string& path, const std::string& reason) {
  const std::string firstChoice = path + ".unreadable";
  std::string aside = firstChoice;
  for (int number = 1; lookUp(aside) == 0; ++number) aside = firstChoice + "." + std::to_string(number);
  if (!mayWrite_(aside) || std::rename(path.c_str(), aside.c_str()) != 0) return false;
  logger.error("Kept the unreadable usage store as %s: %s", aside, reason);
  return true;
}

}  // namespace vigilo
