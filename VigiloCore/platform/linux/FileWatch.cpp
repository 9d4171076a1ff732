#include "platform/linux/FileWatch.h"

#include <sys/inotify.h>

#include <cstring>
#include <filesystem>

namespace vigilo {

FileWatch::FileWatch(Queue& queue, Task changed)
    : changed_(std::move(changed)), inotify_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (inotify_) source_ = queue.readSource(inotify_.get(), [this] { readEvents(); });
}

void FileWatch::add(const std::string& path) {
  constexpr std::uint32_t events =
      IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
  if (!inotify_) return;
  const std::filesystem::path file(path);
  const int watch = ::inotify_add_watch(inotify_.get(), file.parent_path().c_str(), events);
  if (watch >= 0) names_[watch].insert(file.filename());
}

void FileWatch::readEvents() {
  bool touched = false;
  alignas(inotify_event) char block[4096];
  for (;;) {
    const ssize_t count = ::read(inotify_.get(), block, sizeof block);
    if (count <= 0) break;
    for (ssize_t at = 0; at < count;) {
      inotify_event event;
      std::memcpy(&event, block + at, sizeof event);
      const char* name = event.len == 0 ? "" : block + at + sizeof event;
      at += static_cast<ssize_t>(sizeof event + event.len);
      const auto watched = names_.find(event.wd);
      const bool isFolder = event.len == 0;  // gone, moved away, or events were lost
      touched = touched || isFolder || (watched != names_.end() && watched->second.contains(name));
      if ((event.mask & IN_IGNORED) != 0 && watched != names_.end()) names_.erase(watched);
    }
  }
  if (touched) changed_();
}

}  // namespace vigilo
