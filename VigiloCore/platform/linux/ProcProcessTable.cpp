#include "platform/linux/ProcProcessTable.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <ctime>

#include "platform/linux/PrintableText.h"

namespace vigilo {
namespace {

constexpr unsigned kernelThreadReadings = 10;

// The arguments as `ps` joins them: each ends in a NUL, those at the end count for nothing.
std::string joinArguments(std::string_view bytes) {
  const auto last = bytes.find_last_not_of('\0');
  if (last == std::string_view::npos) return {};
  std::string text = printableText(bytes.substr(0, last + 1));
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

// Seconds since the machine's start, sleep included: the clock of the kernel's start times.
double secondsSinceBoot() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

}  // namespace

ProcProcessTable::ProcProcessTable(std::string root, Clock clock)
    : folder_(std::move(root)), clock_(std::move(clock)) {}

std::optional<std::vector<ProcessLine>> ProcProcessTable::read() {
  const auto entries = folder_.list();
  if (!entries) return std::nullopt;
  ++reading_;
  std::vector<ProcessLine> lines;
  lines.reserve(entries->size());
  for (const auto& entry : *entries) {
    std::string command = commandOf(entry);
    if (!command.empty()) lines.push_back({entry.pid, std::move(command)});
  }
  std::erase_if(kernelThreads_, [this](const auto& known) { return known.second.seenAt != reading_; });
  if (lines.empty()) return std::nullopt;
  return lines;
}

std::string ProcProcessTable::commandOf(const ProcFolder::Entry& entry) {
  const auto known = kernelThreads_.find(entry.pid);
  if (known != kernelThreads_.end() && known->second.identity == entry.identity &&
      reading_ - known->second.readAt < kernelThreadReadings) {
    known->second.seenAt = reading_;
    return known->second.command;
  }
  const auto arguments = folder_.read(entry.pid, "cmdline");
  if (!arguments) return {};
  return arguments->empty() ? nameOf(entry) : joinArguments(*arguments);
}

// A process without arguments shows its name: a kernel thread, one that has ended, or one that is just
// beginning.
std::string ProcProcessTable::nameOf(const ProcFolder::Entry& entry) {
  const auto stat = folder_.stat(entry.pid);
  if (!stat) return {};
  std::string command = "[" + printableText(stat->name) + "]";
  if (stat->state == 'Z') command += " <defunct>";
  if (stat->isKernelThread) kernelThreads_[entry.pid] = {entry.identity, command, reading_, reading_};
  return command;
}

std::optional<Date> ProcProcessTable::dateOf(std::int64_t startTicks) const {
  const auto ticksPerSecond = static_cast<double>(::sysconf(_SC_CLK_TCK));
  // The kernel rounds down: the end of the tick is no earlier than the start was.
  const double started = static_cast<double>(startTicks + 1) / ticksPerSecond;
  return clock_() - (secondsSinceBoot() - started);
}

std::optional<Date> ProcProcessTable::startedAt(std::int32_t pid) {
  const auto stat = folder_.stat(pid);
  return stat ? dateOf(stat->startTicks) : std::nullopt;
}

std::optional<Date> ProcProcessTable::youngestChildStartedAt(std::int32_t pid) {
  std::vector<std::int32_t> children;
  for (const auto thread : folder_.numbersIn(pid, "task")) {
    const std::string name = "task/" + std::to_string(thread) + "/children";
    const auto text = folder_.read(pid, name.c_str());
    for (std::string_view rest = text.value_or(""); !rest.empty();) {
      std::int32_t child = 0;
      if (std::from_chars(rest.data(), rest.data() + rest.size(), child).ec == std::errc()) {
        children.push_back(child);
      }
      rest.remove_prefix(std::min(rest.find(' '), rest.size() - 1) + 1);
    }
  }
  std::optional<std::int64_t> youngest;
  for (const auto child : children) {
    const auto stat = folder_.stat(child);
    if (stat && stat->state != 'Z') youngest = std::max(youngest.value_or(0), stat->startTicks);
  }
  return youngest ? dateOf(*youngest) : std::nullopt;
}

}  // namespace vigilo
