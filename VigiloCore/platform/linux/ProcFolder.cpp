#include "platform/linux/ProcFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>

namespace vigilo {
namespace {

constexpr unsigned kernelThreadFlag = 0x00200000;  // PF_KTHREAD

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

using PathBuffer = char[64];

const char* pathOf(PathBuffer& buffer, std::int32_t pid, const char* name) {
  std::snprintf(buffer, sizeof buffer, "%d/%s", static_cast<int>(pid), name);
  return buffer;
}

template <class Number>
std::optional<Number> number(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::vector<ProcFolder::Entry> entriesOf(UniqueFd fd) {
  std::vector<ProcFolder::Entry> entries;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(fd ? ::fdopendir(fd.get()) : nullptr, ::closedir);
  if (!folder) return entries;
  (void)fd.release();  // the DIR's from here on
  while (const dirent* entry = ::readdir(folder.get())) {
    const auto pid = number<std::int32_t>(entry->d_name);
    if (pid && *pid > 0) entries.push_back({*pid, entry->d_ino});
  }
  return entries;
}

// The fields of a text between blanks, one after the other.
class Fields {
 public:
  explicit Fields(std::string_view text) : rest_(text) {}

  std::string_view next() {
    const auto begin = std::min(rest_.find_first_not_of(" \n"), rest_.size());
    rest_.remove_prefix(begin);
    const auto field = rest_.substr(0, rest_.find_first_of(" \n"));
    rest_.remove_prefix(field.size());
    return field;
  }
  void skip(int count) {
    while (count-- > 0) next();
  }

 private:
  std::string_view rest_;
};

}  // namespace

std::optional<ProcStat> ProcStat::parse(std::string_view text) {
  // The name stands in parentheses and may hold some itself.
  const auto open = text.find('(');
  const auto close = text.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
  ProcStat result{.name = text.substr(open + 1, close - open - 1)};
  Fields fields(text.substr(close + 1));
  const auto state = fields.next();
  const auto parent = number<std::int32_t>(fields.next());
  fields.skip(4);  // group, session, terminal, its group
  const auto flags = number<unsigned>(fields.next());
  fields.skip(12);
  const auto start = number<std::int64_t>(fields.next());
  if (state.size() != 1 || !parent || !flags || !start) return std::nullopt;
  result.state = state.front();
  result.parent = *parent;
  result.isKernelThread = (*flags & kernelThreadFlag) != 0;
  result.startTicks = *start;
  return result;
}

ProcFolder::ProcFolder(std::string root)
    : root_(std::move(root)), buffer_(std::make_unique_for_overwrite<char[]>(readLimit)) {}

int ProcFolder::folder() {
  if (!folder_) folder_.reset(::open(root_.c_str(), folderFlags));
  return folder_.get();
}

std::optional<std::vector<ProcFolder::Entry>> ProcFolder::list() {
  auto entries = entriesOf(UniqueFd(::openat(folder(), ".", folderFlags)));
  if (entries.empty()) return std::nullopt;
  std::ranges::sort(entries, {}, &Entry::pid);
  return entries;
}

std::vector<std::int32_t> ProcFolder::numbersIn(std::int32_t pid, const char* name) {
  PathBuffer path;
  std::vector<std::int32_t> numbers;
  for (const Entry& entry : entriesOf(UniqueFd(::openat(folder(), pathOf(path, pid, name), folderFlags)))) {
    numbers.push_back(entry.pid);
  }
  return numbers;
}

std::optional<std::string_view> ProcFolder::read(std::int32_t pid, const char* name) {
  PathBuffer path;
  const UniqueFd file(
      ::openat(folder(), pathOf(path, pid, name), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return std::nullopt;
  std::size_t length = 0;
  while (length < readLimit) {
    const ssize_t count = ::read(file.get(), buffer_.get() + length, readLimit - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  return std::string_view(buffer_.get(), length);
}

std::optional<std::string> ProcFolder::readLink(std::int32_t pid, const char* name) {
  PathBuffer path;
  char target[4096];
  const ssize_t length = ::readlinkat(folder(), pathOf(path, pid, name), target, sizeof target);
  if (length <= 0 || static_cast<std::size_t>(length) == sizeof target) return std::nullopt;
  std::string_view result(target, static_cast<std::size_t>(length));
  // After an update the program runs on from a file that has no name any more.
  constexpr std::string_view deleted = " (deleted)";
  if (result.ends_with(deleted)) result.remove_suffix(deleted.size());
  return std::string(result);
}

std::optional<ProcStat> ProcFolder::stat(std::int32_t pid) {
  const auto text = read(pid, "stat");
  return text ? ProcStat::parse(*text) : std::nullopt;
}

}  // namespace vigilo
