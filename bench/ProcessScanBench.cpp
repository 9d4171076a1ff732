// One complete scan of the process monitor, on this machine's real processes, of which there are made to be
// at least 500: CPU time of the kernel's share and ours. Limit: 4 ms. The parts are shown beside it, and
// `ps`, whose CPU time is its own: look at its wall time.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "agents/ProcessMonitor.h"
#include "platform/PsProcessTable.h"
#include "tests/support/TempFolder.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

constexpr std::size_t processCount = 500;
// Scans until no process counts as young.
constexpr int warmUp = 20;

// Processes with command lines of an everyday length, for as long as this object lives.
class Crowd {
 public:
  Crowd() {
    const auto table = makeProcessTable();
    for (auto count = table->read().value().size(); count < processCount; ++count) start();
  }
  ~Crowd() {
    for (const pid_t child : children_) ::kill(child, SIGKILL);
    for (const pid_t child : children_) ::waitpid(child, nullptr, 0);
  }

 private:
  void start() {
    const pid_t child = ::fork();
    if (child == 0) {
      ::execl("/bin/sleep", "/usr/lib/something/of/an/everyday/length", "100000", nullptr);
      ::_exit(1);
    }
    if (child > 0) children_.push_back(child);
  }

  std::vector<pid_t> children_;
};

void processScan(benchmark::State& state) {
  const Crowd crowd;
  const test::TempFolder home;
  test::VirtualTime time;
  const auto queue = time.queue(ProcessMonitor::queueLabel);
  const auto processes = makeProcessTable();
  const auto applications = makeRunningApplications();
  ProcessMonitor monitor(*queue, Date::now, {Directories::below(home.path()), *processes, *applications});
  for (int i = 0; i < state.range(0); ++i) monitor.scanProcesses();
  for (auto _ : state) benchmark::DoNotOptimize(monitor.scanProcesses());
  state.counters["processes"] = static_cast<double>(processes->read()->size());
}

void processTable(benchmark::State& state) {
  const Crowd crowd;
  const auto processes = makeProcessTable();
  for (int i = 0; i < warmUp; ++i) processes->read();
  for (auto _ : state) benchmark::DoNotOptimize(processes->read());
}

void runningApplications(benchmark::State& state) {
  const Crowd crowd;
  const auto applications = makeRunningApplications();
  for (int i = 0; i < warmUp; ++i) applications->list();
  for (auto _ : state) benchmark::DoNotOptimize(applications->list());
}

void ps(benchmark::State& state) {
  const Crowd crowd;
  PsProcessTable table;
  for (auto _ : state) benchmark::DoNotOptimize(table.read());
}

// The very first scan reads the desktop entries and looks at every process.
BENCHMARK(processScan)->Name("first scan")->Arg(0)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(processScan)->Name("scan")->Arg(warmUp)->Unit(benchmark::kMillisecond);
BENCHMARK(processTable)->Unit(benchmark::kMillisecond);
BENCHMARK(runningApplications)->Unit(benchmark::kMillisecond);
BENCHMARK(ps)->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace
}  // namespace vigilo
