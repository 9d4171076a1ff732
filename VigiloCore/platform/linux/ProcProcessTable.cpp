#include "platform/linux/ProcProcessTable.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

#include "platform/linux/PrintableText.h"

namespace vigilo {
namespace {

// Counted in readings.
constexpr unsigned youngReadings = 10;
constexpr unsigned shellInterval = 2;
constexpr unsigned interval = 10;
// Longer command lines are read each time: kept, they could add up to what no host should hold.
constexpr std::size_t longestKept = 4096;

// The arguments as `ps` joins them: each ends in a NUL, those at the end count for nothing.
std::string joinArguments(std::string_view bytes) {
  const auto last = bytes.find_last_not_of('\0');
  if (last == std::string_view::npos) return {};
  std::string text = printableText(bytes.substr(0, last + 1));
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

// Whether the command is one of a program that is known to `exec` others late in its life: "-bash",
// "/bin/sh -c …", "python3.11 wrapper.py".
bool isShellOrInterpreter(std::string_view command) {
  static constexpr std::array<std::string_view, 10> shells{"ash",  "bash", "busybox", "csh",  "dash",
                                                           "fish", "ksh",  "sh",      "tcsh", "zsh"};
  static constexpr std::array<std::string_view, 3> interpreters{"perl", "python", "ruby"};
  std::string_view program = command.substr(0, command.find(' '));
  program.remove_prefix(program.rfind('/') + 1);
  if (program.starts_with('-')) program.remove_prefix(1);
  return std::find(shells.begin(), shells.end(), program) != shells.end() ||
         std::any_of(interpreters.begin(), interpreters.end(),
                     [program](std::string_view name) { return program.starts_with(name); });
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
  std::erase_if(known_, [this](const auto& entry) { return entry.second.lastReading != reading_; });
  if (lines.empty()) return std::nullopt;
  return lines;
}

std::string ProcProcessTable::commandOf(const ProcFolder::Entry& entry) {
  Known& known = known_[entry.pid];
  if (known.identity != entry.identity) {
    // What is there at the first reading is rarely just beginning.
    known = {.identity = entry.identity, .youngUntil = reading_ == 1 ? 0 : reading_ + youngReadings};
  }
  known.lastReading = reading_;
  if (!isDue(known, entry.pid)) return known.command;
  std::string command = readCommand(entry.pid, known);
  known.maySucceedItself = isShellOrInterpreter(command);
  known.command = command.size() <= longestKept ? command : std::string();
  return command;
}

bool ProcProcessTable::isDue(const Known& known, std::int32_t pid) const {
  if (known.command.empty() || reading_ < known.youngUntil || reading_ == known.askedAt + 1) return true;
  // Spread over the readings.
  return (reading_ + static_cast<unsigned>(pid)) % (known.maySucceedItself ? shellInterval : interval) == 0;
}

// A process without arguments shows its name: a kernel thread, or one that is just beginning.
std::string ProcProcessTable::readCommand(std::int32_t pid, Known& known) {
  if (known.hasEnded) return {};
  const auto arguments = known.isKernelThread ? "" : folder_.read(pid, "cmdline");
  if (!arguments) return {};
  if (!arguments->empty()) return joinArguments(*arguments);
  const auto stat = folder_.stat(pid);
  if (!stat) return {};
  known.isKernelThread = stat->isKernelThread;
  known.hasEnded = stat->hasEnded();
  return known.hasEnded ? std::string() : "[" + printableText(stat->name) + "]";
}

std::optional<Date> ProcProcessTable::dateOf(std::int64_t startTicks) const {
  const auto ticksPerSecond = static_cast<double>(::sysconf(_SC_CLK_TCK));
  // The kernel rounds down: the end of the tick is no earlier than the start was.
  const double started = static_cast<double>(startTicks + 1) / ticksPerSecond;
  return clock_() - (secondsSinceBoot() - started);
}

void ProcProcessTable::noteInterest(std::int32_t pid) {
  const auto known = known_.find(pid);
  if (known != known_.end()) known->second.askedAt = reading_;
}

std::optional<Date> ProcProcessTable::startedAt(std::int32_t pid) {
  noteInterest(pid);
  const auto stat = folder_.stat(pid);
  return stat ? dateOf(stat->startTicks) : std::nullopt;
}

std::optional<Date> ProcProcessTable::youngestChildStartedAt(std::int32_t pid) {
  noteInterest(pid);
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
    if (stat && !stat->hasEnded()) youngest = std::max(youngest.value_or(0), stat->startTicks);
  }
  return youngest ? dateOf(*youngest) : std::nullopt;
}

}  // namespace vigilo
