#pragma once

#include <map>
#include <set>
#include <string>

#include "support/Queue.h"
#include "support/UniqueFd.h"

namespace vigilo {

// Tells when one of some files may have changed, come or gone, by watching their folders: programs replace
// files more often than they write into them. Where the system offers no events it stays silent.
//
// Lives on its queue: it is made, used and destroyed there, and calls `changed` there.
class FileWatch {
 public:
  FileWatch(Queue& queue, Task changed);

  // Watches this file too. Without effect while its folder is not there: repeat it once it may be.
  void add(const std::string& path);

 private:
  void readEvents();

  const Task changed_;
  UniqueFd inotify_;
  std::map<int, std::set<std::string>> names_;  // by the folder's watch
  CancelToken source_;                          // reads from inotify_: it ends first
};

}  // namespace vigilo
