#include "usage/UsageStoreFile.h"

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
    : path_(std::move(path)), mayWrite_(std::move(mayWrite)) {}

UsageStoreFile::Loaded UsageStoreFile::load() {
  removeLeftTemporaries(path_, mayWrite_);
  if (isAbsent(path_)) return {};
  std::vector<char> buffer(1 << 18);
  std::ifstream file;
  file.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
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
  return {std::move(content->ledger), content->schemaVersion, !content->schemaVersion};
}

std::optional<FileError> UsageStoreFile::save(const UsageLedger& ledger) {
  if (unreadable_ && !barred_) barred_ = moveUnreadableAside();
  if (barred_) return barred_;
  if (!mayWrite_(path_)) {
    return FileError{EPERM, VigiloWriteSecurityError::notOwned(path_).localizedDescription()};
  }
  return replaceFile(path_, ledger.filePieces(), mayWrite_);
}

std::optional<FileError> UsageStoreFile::moveUnreadableAside() {
  const std::string firstChoice = path_ + ".unreadable";
  std::string aside = firstChoice;
  for (int number = 1; lookUp(aside) == 0; ++number) aside = firstChoice + "." + std::to_string(number);
  const bool isMoved = mayWrite_(aside) && std::rename(path_.c_str(), aside.c_str()) == 0;
  if (!isMoved && !isAbsent(path_)) {
    return FileError{EACCES, path_ + " cannot be read (" + *unreadable_ +
                                 ") nor moved aside; nothing is saved, so that nothing in it is lost"};
  }
  if (isMoved) logger.error("Kept the unreadable usage store as %s: %s", aside, *unreadable_);
  unreadable_.reset();
  return std::nullopt;
}

}  // namespace vigilo
