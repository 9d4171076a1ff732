#include <linux/magic.h>
#include <sys/inotify.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <unordered_map>

#include "platform/FolderWatch.h"
#include "support/UniqueFd.h"

namespace vigilo {
namespace {

constexpr std::uint32_t fileChanged = IN_CREATE | IN_MOVED_TO | IN_MODIFY | IN_ATTRIB;
constexpr std::uint32_t entryGone = IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF;

// What one watch may take of the number that the kernel allows a user in all.
constexpr std::size_t mostFolders = 8192;

// File systems that somebody else may change, and that the headers do not all name.
constexpr std::uint32_t shared[] = {NFS_SUPER_MAGIC,
                                    SMB_SUPER_MAGIC,
                                    CODA_SUPER_MAGIC,
                                    AFS_SUPER_MAGIC,
                                    V9FS_MAGIC,
                                    0xff534d42 /* CIFS */,
                                    0xfe534d42 /* SMB 2 */,
                                    0x65735546 /* FUSE */,
                                    0x00c36400 /* Ceph */,
                                    0x786f4256 /* VirtualBox */};

bool isShared(const std::string& folder) {
  struct statfs status {};
  if (::statfs(folder.c_str(), &status) != 0) return true;
  return std::ranges::find(shared, static_cast<std::uint32_t>(status.f_type)) != std::end(shared);
}

class InotifyFolderWatch final : public FolderWatch {
 public:
  explicit InotifyFolderWatch(UniqueFd fd) : fd_(std::move(fd)) {}

  bool watch(const std::string& folder) override {
    if (folders_.size() == mostFolders || isShared(folder)) return false;
    const int id = ::inotify_add_watch(fd_.get(), folder.c_str(), fileChanged | entryGone | IN_ONLYDIR);
    if (id < 0) return false;
    folders_[id] = folder;
    return true;
  }

  News take() override {
    std::set<std::string> files;
    News news;
    alignas(inotify_event) char buffer[16384];
    for (ssize_t size = 0; (size = ::read(fd_.get(), buffer, sizeof buffer)) > 0;) {
      for (const char* at = buffer; at < buffer + size;) {
        const auto* event = reinterpret_cast<const inotify_event*>(at);
        at += sizeof *event + event->len;
        const auto folder = folders_.find(event->wd);
        // A flood, a folder, or something that is gone has no name, or more to its mask.
        const bool isFile = event->len > 0 && (event->mask & ~fileChanged) == 0;
        if (!isFile || folder == folders_.end()) {
          news.isUncertain = true;
        } else {
          files.insert(folder->second + "/" + event->name);
        }
      }
    }
    news.files.assign(files.begin(), files.end());
    return news;
  }

 private:
  const UniqueFd fd_;
  std::unordered_map<int, std::string> folders_;
};

}  // namespace

std::unique_ptr<FolderWatch> makeFolderWatch() {
  UniqueFd fd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!fd) return nullptr;
  return std::make_unique<InotifyFolderWatch>(std::move(fd));
}

}  // namespace vigilo
