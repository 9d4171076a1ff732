#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "AppCoordinator.h"
#include "helper/DeepHoldLeaseStore.h"
#include "helper/HelperRequestHandler.h"
#include "tests/support/FakeDesktop.h"
#include "tests/support/MemoryDefaults.h"
#include "tests/support/VirtualTime.h"

namespace vigilo::test {

// What the system did to the machine, in order: "idle+ Vigilo: Claude Code working", "idle-", "sleep off",
// "sleep on".
using Actions = std::vector<std::string>;

// The machine as the whole system sees it: power, temperature, lid, assertions and the sleep setting, all in
// memory.
struct Machine {
  Actions actions;
  std::set<std::uint32_t> assertions;  // that stand
  bool displayHeld = false;
  bool sleepDisabled = false;
  PowerSourceDescription battery{.powerSourceState = "AC Power",
                                 .isCharging = false,
                                 .currentCapacity = 80,
                                 .maxCapacity = 100,
                                 .timeToEmpty = std::nullopt};
  int thermal = 0;
  bool isLidClosed = false;
  bool assertionsFail = false;
  // What the process table shows, where the host looks at it; when all of these began, and a child of theirs.
  std::vector<ProcessLine> processes;
  std::optional<Date> processesBegan, childBegan;
  Task powerChanged;
  Task thermalChanged;

  Actions take() { return std::exchange(actions, {}); }
  bool holdsIdle() const { return !assertions.empty(); }
  void setBattery(bool onAC, int percent);
  void setThermal(int state);
};

// The whole system in virtual time: the host's coordinator with everything below it, joined without sockets
// to the helper's request handler and lease store, which keeps its record in a real file. Host and helper can
// be killed and started again by themselves.
class World {
 public:
  World();
  ~World();

  void startHost();
  // SIGKILL: its assertions go at once, its lease stays.
  void killHost();
  void startHelper();
  // SIGKILL: the record stays; the setting stays only where it outlives the process.
  void killHelper();

  void event(AgentType agent, AgentState state, const std::string& session = "s1");
  void run(double seconds) { time.advance(seconds); }

  AppCoordinator& host() const { return *coordinator_; }
  bool hostRuns() const { return coordinator_ != nullptr; }
  bool helperRuns() const { return handler_ != nullptr; }

  VirtualTime time;
  Machine machine;
  MemoryDefaults defaults;
  FakeDesktop desktop;
  // To the helper, that changed or could have changed something, as they were sent; a release that was
  // repeated is "release again".
  Actions requests;
  bool helperHangs = false;     // takes requests and never answers in time
  bool scansProcesses = false;  // from the next start of the host on
  double scanLag = 0;           // how long after the evaluation of each second, in seconds; likewise

 private:
  class Transport;
  class PowerController;

  std::string stateFile_;
  std::unique_ptr<Queue> main_ = time.queue("main");
  std::unique_ptr<Queue> idleQueue_ = time.queue("com.vigilo.assertions");
  std::unique_ptr<Queue> deepQueue_ = time.queue("com.vigilo.deepsleepcontroller");
  std::unique_ptr<Queue> scans_ = time.queue(ProcessMonitor::queueLabel);
  std::unique_ptr<Queue> notificationsQueue_ = time.queue("com.vigilo.notifications");
  std::unique_ptr<Queue> helperQueue_ = time.queue("com.vigilo.helper.queue");

  std::unique_ptr<SettingsStore> settings_;
  std::shared_ptr<PowerAssertions> assertions_;
  std::unique_ptr<PowerSourceProvider> powerProvider_;
  std::unique_ptr<ThermalStateProvider> thermalProvider_;
  std::unique_ptr<LidStateProvider> lidProvider_;
  std::unique_ptr<ProcessTable> processes_;
  std::unique_ptr<RunningApplications> applications_;
  std::unique_ptr<HelperTransport> transport_;
  std::shared_ptr<AgentStateCoordinator> agents_;
  std::shared_ptr<AppCoordinator> coordinator_;

  std::unique_ptr<SystemPowerControlling> power_;
  std::unique_ptr<DeepHoldLeaseStore> store_;
  std::unique_ptr<HelperRequestHandler> handler_;
  CancelToken watchdog_;
};

}  // namespace vigilo::test
