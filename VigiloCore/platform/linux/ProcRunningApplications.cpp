#include "platform/linux/ProcRunningApplications.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/linux/ApplicationScope.h"

namespace vigilo {
namespace {

// Counted in listings, of which the host makes one a second. By the first, a desktop has put a process into
// its group; the second is how late a process that becomes another program is found, and these looks are
// spread over the listings.
constexpr unsigned youngListings = 3;
constexpr unsigned lookInterval = 2;

struct Editor {
  const char* program;
  const char* name;
};
// They run from wherever they were unpacked or mounted.
constexpr std::array editors{Editor{"cursor", "Cursor"}, Editor{"windsurf", "Windsurf"},
                             Editor{"antigravity", "Antigravity"}};

bool isPart(std::string_view arguments) {
  return arguments.find(std::string_view("\0--type=", 8)) != std::string_view::npos ||
         // Some write their arguments into one.
         arguments.find(" --type=") != std::string_view::npos;
}

}  // namespace

ProcRunningApplications::ProcRunningApplications(std::string root, DesktopEntries entries)
    : folder_(std::move(root)), entries_(std::move(entries)) {}

std::vector<RunningApplication> ProcRunningApplications::list() {
  ++listing_;
  if (entries_.refresh()) known_.clear();
  const auto processes = folder_.list().value_or(std::vector<ProcFolder::Entry>());
  std::vector<RunningApplication> running;
  for (const auto& process : processes) {
    Known& known = known_[process.pid];
    if (known.identity != process.identity || known.firstListing == 0) {
      known = {.identity = process.identity, .firstListing = listing_};
    }
    known.lastListing = listing_;
    if (isDue(known, process.pid)) look(known, process.pid);
    if (known.application) running.push_back(*known.application);
  }
  std::erase_if(known_, [this](const auto& entry) { return entry.second.lastListing != listing_; });
  return running;
}

bool ProcRunningApplications::isDue(const Known& known, std::int32_t pid) const {
  return listing_ - known.firstListing < youngListings ||
         (listing_ + static_cast<unsigned>(pid)) % lookInterval == 0;
}

void ProcRunningApplications::look(Known& known, std::int32_t pid) {
  // Absent for kernel threads and for the processes of others.
  auto executable = folder_.readLink(pid, "exe").value_or("");
  const bool isYoung = listing_ - known.firstListing < youngListings;
  if (executable == known.executable && !isYoung) return;
  known.application.reset();
  known.executable = std::move(executable);
  if (known.executable.empty()) return;
  auto belongs = belonging(pid, known.executable);
  if (belongs && isMainProcess(pid, known.executable, belongs->id)) {
    known.application = RunningApplication{pid, std::move(belongs->name), std::move(belongs->id)};
  }
}

std::optional<ProcRunningApplications::Belonging> ProcRunningApplications::belonging(
    std::int32_t pid, const std::string& executable) {
  if (const auto* entry = entries_.withProgram(executable)) return Belonging{entry->id, entry->name};
  const auto program = std::string_view(executable).substr(executable.rfind('/') + 1);
  for (const Editor& editor : editors) {
    if (program == editor.program) return Belonging{editor.program, editor.name};
  }
  return belongingByScope(pid);
}

std::optional<ProcRunningApplications::Belonging> ProcRunningApplications::belongingByScope(
    std::int32_t pid) {
  const auto groups = folder_.read(pid, "cgroup");
  auto id = groups ? applicationOfScope(unitOfProcess(*groups)) : std::nullopt;
  if (!id) return std::nullopt;
  const auto* entry = entries_.withId(*id);
  std::string name = entry != nullptr ? entry->name : *id;
  return Belonging{std::move(*id), std::move(name)};
}

bool ProcRunningApplications::isMainProcess(std::int32_t pid, const std::string& executable,
                                            const std::string& id) {
  const auto arguments = folder_.read(pid, "cmdline");
  if (!arguments || isPart(*arguments)) return false;
  const auto stat = folder_.stat(pid);
  if (!stat) return false;
  const std::int32_t parent = stat->parent;
  const auto parentExecutable = folder_.readLink(parent, "exe");
  if (!parentExecutable) return true;
  if (*parentExecutable == executable) return false;
  const auto parentBelongs = belonging(parent, *parentExecutable);
  return !parentBelongs || parentBelongs->id != id;
}

std::unique_ptr<RunningApplications> makeRunningApplications() {
  return std::make_unique<ProcRunningApplications>("/proc", DesktopEntries::ofThisMachine());
}

}  // namespace vigilo
