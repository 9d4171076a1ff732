#include "support/NewestLogFiles.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <tuple>

#include "support/UniqueFd.h"

namespace vigilo {
namespace {

// Agents nest their logs four deep at most; each level holds a descriptor while it is walked.
constexpr int deepestFolder = 16;

constexpr std::string_view extension = ".jsonl";

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

class Walk {
 public:
  Walk(std::size_t limit, const LogPlaceVisitor& visit) : limit_(limit), visit_(visit) {}

  void visit(UniqueFd fd, const std::string& path, int depth) {
    if (!fd) return;
    if (visit_) visit_(path, true);
    const std::unique_ptr<DIR, CloseFolder> folder(::fdopendir(fd.get()));
    if (!folder) return;
    const int descriptor = fd.release();  // the DIR's from here on
    while (const dirent* entry = ::readdir(folder.get())) {
      const std::string_view name = entry->d_name;
      if (name == "." || name == "..") continue;
      const bool isFolder = entry->d_type == DT_DIR;
      if (!isFolder && isLogFile(name)) {
        if (visit_ && entry->d_type != DT_REG) visit_(path + "/" + entry->d_name, false);
        consider(descriptor, entry->d_name, path);
      } else if ((isFolder || entry->d_type == DT_UNKNOWN) && depth < deepestFolder) {
        constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
        visit(UniqueFd(::openat(descriptor, entry->d_name, flags)), path + "/" + entry->d_name, depth + 1);
      }
    }
  }

  std::vector<LogFile> take() { return std::move(newest_); }

 private:
  // Most files are too old to be kept, so their paths are never put together.
  void consider(int folder, const char* name, const std::string& path) {
    const auto mark = FileMark::of(folder, name);
    if (!mark) return;
    const bool full = newest_.size() == limit_;
    if (full && mark->modifiedNanoseconds < newest_.front().mark.modifiedNanoseconds) return;
    const LogFile file{path + "/" + name, *mark};
    newest_.insert(std::ranges::upper_bound(newest_, file, isOlder), file);
    if (full) newest_.erase(newest_.begin());
  }

  const std::size_t limit_;
  const LogPlaceVisitor& visit_;
  std::vector<LogFile> newest_;  // oldest first
};

}  // namespace

bool isLogFile(std::string_view path) {
  const std::string_view name = path.substr(path.rfind('/') + 1);
  return name.ends_with(extension) && name != extension;
}

bool isOlder(const LogFile& a, const LogFile& b) {
  return std::tie(a.mark.modifiedNanoseconds, a.path) < std::tie(b.mark.modifiedNanoseconds, b.path);
}

std::vector<LogFile> newestLogFiles(const std::string& folder, std::size_t limit,
                                    const LogPlaceVisitor& visit) {
  Walk walk(limit, visit);
  walk.visit(UniqueFd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), folder, 0);
  return walk.take();
}

}  // namespace vigilo
