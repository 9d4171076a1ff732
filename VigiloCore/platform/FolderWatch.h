#pragma once

#include <memory>
#include <string>
#include <vector>

namespace vigilo {

// Tells what happened in some folders since it was asked last, so that whoever follows thousands of files
// need not look at each of them. Of a folder its own entries are watched, not what lies below them. Not
// thread-safe.
class FolderWatch {
 public:
  struct News {
    std::vector<std::string> files;  // that were made, moved here or changed; each once
    bool isUncertain = false;        // something else happened, or too much: all is to be looked at again
  };

  virtual ~FolderWatch() = default;

  // False where the folder cannot be watched, or where others may change it without this system's knowing: a
  // network share.
  virtual bool watch(const std::string& folder) = 0;
  virtual News take() = 0;
};

// Absent where the system has nothing of the kind, or no more of it.
std::unique_ptr<FolderWatch> makeFolderWatch();

}  // namespace vigilo
