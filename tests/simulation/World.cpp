#include "tests/simulation/World.h"

#include "support/Log.h"

namespace vigilo::test {
namespace {

class FakeAssertions final : public PowerAssertions {
 public:
  explicit FakeAssertions(Machine& machine) : machine_(machine) {}
  // The process ends: what it held goes with it.
  ~FakeAssertions() override {
    for (const auto identifier : own_) machine_.assertions.erase(identifier);
  }

  Result<std::uint32_t, PowerAssertionError> create(PowerAssertionType type,
                                                    const std::string& name) override {
    if (machine_.assertionsFail) return PowerAssertionError{13};
    const bool display = type == PowerAssertionType::preventUserIdleDisplaySleep;
    machine_.actions.push_back((display ? "display+ " : "idle+ ") + name);
    machine_.assertions.insert(++last_);
    own_.insert(last_);
    return last_;
  }
  void release(std::uint32_t identifier) override {
    machine_.actions.push_back("release " + std::to_string(identifier));
    machine_.assertions.erase(identifier);
    own_.erase(identifier);
  }
  bool stands(std::uint32_t identifier) override { return machine_.assertions.contains(identifier); }
  std::string description() const override { return "a fake"; }

 private:
  Machine& machine_;
  std::uint32_t last_ = 0;
  std::set<std::uint32_t> own_;
};

// The platform's notifications, delivered on the host's main queue while it observes.
struct Observation final : Cancellable {
  explicit Observation(Task& slot) : slot_(slot) {}
  ~Observation() override { slot_ = nullptr; }
  Task& slot_;
};

CancelToken observeThrough(Task& slot, Queue& queue, Task changed) {
  slot = [&queue, changed = std::move(changed)] { queue.async(changed); };
  return std::make_unique<Observation>(slot);
}

class FakePower final : public PowerSourceProvider {
 public:
  explicit FakePower(Machine& machine) : machine_(machine) {}
  std::vector<PowerSourceDescription> copyPowerSources() override { return {machine_.battery}; }
  bool isLowPowerModeEnabled() override { return false; }
  CancelToken observe(Queue& queue, Task changed) override {
    return observeThrough(machine_.powerChanged, queue, std::move(changed));
  }

 private:
  Machine& machine_;
};

class FakeThermal final : public ThermalStateProvider {
 public:
  explicit FakeThermal(Machine& machine) : machine_(machine) {}
  int thermalState() override { return machine_.thermal; }
  CancelToken observe(Queue& queue, Task changed) override {
    return observeThrough(machine_.thermalChanged, queue, std::move(changed));
  }
  std::string description() const override { return "a fake"; }

 private:
  Machine& machine_;
};

class FakeLid final : public LidStateProvider {
 public:
  explicit FakeLid(const Machine& machine) : machine_(machine) {}
  std::optional<bool> isClamshellClosed() override { return machine_.isLidClosed; }
  std::string description() const override { return "a fake"; }

 private:
  const Machine& machine_;
};

class FakeProcesses final : public ProcessTable {
 public:
  explicit FakeProcesses(const Machine& machine) : machine_(machine) {}
  std::optional<std::vector<ProcessLine>> read() override { return machine_.processes; }
  std::optional<Date> startedAt(std::int32_t) override { return machine_.processesBegan; }
  std::optional<Date> youngestChildStartedAt(std::int32_t) override { return machine_.childBegan; }

 private:
  const Machine& machine_;
};

class NoApplications final : public RunningApplications {
 public:
  std::vector<RunningApplication> list() override { return {}; }
};

}  // namespace

void Machine::setBattery(bool onAC, int percent) {
  battery.powerSourceState = onAC ? "AC Power" : "Battery Power";
  battery.currentCapacity = percent;
  if (powerChanged) powerChanged();
}

void Machine::setThermal(int state) {
  thermal = state;
  if (thermalChanged) thermalChanged();
}

// The sleep setting of a machine whose inhibitor goes with the process that took it.
class World::PowerController final : public SystemPowerControlling {
 public:
  explicit PowerController(Machine& machine) : machine_(machine) {}
  ~PowerController() override { machine_.sleepDisabled = false; }

  std::optional<bool> readSleepDisabled() override { return machine_.sleepDisabled; }
  bool writeSleepDisabled(bool disabled) override {
    machine_.actions.push_back(disabled ? "sleep off" : "sleep on");
    machine_.sleepDisabled = disabled;
    return true;
  }
  void ensureSleepDisabled() override {
    if (!machine_.sleepDisabled) writeSleepDisabled(true);
  }
  std::string description() const override { return "a fake"; }

 private:
  Machine& machine_;
};

// Joins the controller to the helper's handler; a helper that hangs costs the client its two seconds.
class World::Transport final : public HelperTransport {
 public:
  explicit Transport(World& world) : world_(world) {}
  bool exists(const std::string&) override { return true; }
  void exchange(const std::string&, const std::string& request, Completion done) override {
    const auto decoded = decodeRecord<HelperRequest>(request);
    if (decoded->command != HelperCommand::status) {
      const bool again =
          decoded->command == HelperCommand::release && !released_.insert(*decoded->leaseId).second;
      world_.requests.emplace_back(again ? "release again" : rawValue(decoded->command));
    }
    if (world_.helperHangs) {
      return world_.deepQueue_->asyncAfter(std::chrono::seconds(1), [done] { done(Outcome::failed, ""); });
    }
    world_.helperQueue_->async([this, request, done] {
      if (!world_.helperRuns()) return done(Outcome::refused, "");
      done(Outcome::answered, world_.handler_->handle(request, uid_t{1000}).bytes);
    });
  }

 private:
  World& world_;
  std::set<std::string> released_;  // leases
};

World::World() {
  // In memory where there is such a folder: a simulated week saves the record tens of thousands of times.
  stateFile_ = std::string(::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/vigilo-simulation." +
               std::to_string(::getpid()) + "." + std::to_string(reinterpret_cast<std::uintptr_t>(this));
}

World::~World() {
  killHost();
  killHelper();
  ::unlink(stateFile_.c_str());
}

void World::startHost() {
  settings_ = std::make_unique<SettingsStore>(defaults, time.clock());
  assertions_ = std::make_shared<FakeAssertions>(machine);
  powerProvider_ = std::make_unique<FakePower>(machine);
  thermalProvider_ = std::make_unique<FakeThermal>(machine);
  lidProvider_ = std::make_unique<FakeLid>(machine);
  transport_ = std::make_unique<Transport>(*this);
  processes_ = std::make_unique<FakeProcesses>(machine);
  applications_ = std::make_unique<NoApplications>();
  agents_ = std::make_shared<AgentStateCoordinator>(time.clock());
  auto battery = std::make_shared<BatteryMonitor>(*powerProvider_, *main_, time.clock());
  battery->queryPowerSource();
  std::shared_ptr<ProcessMonitor> monitor;
  if (scansProcesses) {
    scans_ = time.queue(ProcessMonitor::queueLabel, scanLag);
    const ProcessMonitor::Sources sources{Directories::below("/nonexistent"), *processes_, *applications_};
    monitor = std::make_shared<ProcessMonitor>(*scans_, time.clock(), sources);
  }
  coordinator_ = AppCoordinator::create(
      {.mainQueue = *main_,
       .assertionsQueue = *idleQueue_,
       .deepSleepQueue = *deepQueue_,
       .clock = time.clock(),
       .settings = *settings_,
       .agentCoordinator = agents_,
       .idleAssertionController = std::make_shared<IdleWakeAssertionController>(assertions_),
       .deepSleepController = std::make_shared<DeepSleepController>(
           *deepQueue_, *transport_, DeepSleepController::Paths{"/helper.sock", std::nullopt}),
       .batteryMonitor = battery,
       .thermalMonitor = std::make_shared<ThermalMonitor>(*thermalProvider_, *main_),
       .lidMonitor = std::make_shared<LidMonitor>(*lidProvider_),
       .processMonitor = monitor,
       .hookReceiver = nullptr,
       .usageCoordinator = nullptr,
       .notifications = NotificationController::create(
           {.queue = *notificationsQueue_, .settings = *settings_, .service = desktop, .sounds = desktop})});
  coordinator_->start();
  time.runUntilIdle();
}

void World::killHost() {
  // A killed process does nothing more: its queues go with everything that waits in them.
  main_ = nullptr;
  idleQueue_ = nullptr;
  deepQueue_ = nullptr;
  scans_ = nullptr;
  notificationsQueue_ = nullptr;
  const auto before = machine.actions;
  coordinator_.reset();
  agents_.reset();
  assertions_.reset();
  machine.actions = before;  // what destructors did, a killed process would not have done
  main_ = time.queue("main");
  idleQueue_ = time.queue("com.vigilo.assertions");
  deepQueue_ = time.queue("com.vigilo.deepsleepcontroller");
  scans_ = time.queue(ProcessMonitor::queueLabel);
  notificationsQueue_ = time.queue("com.vigilo.notifications");
}

void World::startHelper() {
  power_ = std::make_unique<PowerController>(machine);
  store_ = std::make_unique<DeepHoldLeaseStore>(
      *power_, stateFile_, [](const std::string&) { return true; }, time.clock(), time.awakeClock());
  handler_ = std::make_unique<HelperRequestHandler>(*store_);
  store_->retakeInheritedHold();
  watchdog_ = helperQueue_->timer(std::chrono::seconds(5), std::chrono::seconds(5),
                                  [this] { store_->checkWatchdog(); });
}

void World::killHelper() {
  helperQueue_ = nullptr;
  watchdog_.reset();
  handler_.reset();
  store_.reset();
  power_.reset();
  helperQueue_ = time.queue("com.vigilo.helper.queue");
}

void World::event(AgentType agent, AgentState state, const std::string& session) {
  coordinator_->hookEvents()->didReceiveHookEvent(HookEvent::of(agent, state, time.now(), session));
}

}  // namespace vigilo::test
