#include "VigiloApp/host/Host.h"
#include "VigiloApp/host/FoldersInUse.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>
#include <utility>

#include "AppCoordinator.h"
#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/StatusText.h"
#include "VigiloApp/control/ControlClient.h"
#include "VigiloApp/control/PlainWords.h"
#include "VigiloApp/control/RecentLog.h"
#include "VigiloApp/host/HostControl.h"
#include "VigiloApp/host/HostEnd.h"
#include "VigiloApp/host/HostLog.h"
#include "VigiloApp/host/InstanceLock.h"
#include "VigiloApp/host/SessionNews.h"
#include "VigiloApp/host/SettingsNews.h"
#include "VigiloApp/host/TerminalReport.h"
#include "VigiloApp/host/UsageProviders.h"
#include "app/DiagnosticsExporter.h"
#include "app/LaunchAtLoginController.h"
#include "helper/VigiloWritePolicy.h"
#include "platform/Platform.h"
#include "support/AsioQueue.h"
#include "support/Log.h"
#include "support/PrivateFolder.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr int lockPatienceMs = 2000;  // a command that writes settings is through by then
constexpr auto releasePatience = 2s;
constexpr auto scanPatience = 1s;
constexpr auto shortcutPatience = 2s;  // as long as the desktop may take for an answer
constexpr auto endPatience = 4500ms;   // for everything from the signal on

// Absent when the host may run with this home folder; otherwise why not.
std::optional<std::string> homeProblem(const Directories& directories) {
  struct stat home {};
  if (directories.home.empty()) return "there is no home folder: set HOME to one";
  if (::stat(directories.home.c_str(), &home) != 0) return directories.home + ": " + std::strerror(errno);
  if (::geteuid() == 0 && home.st_uid != 0) {
    return "this is root with the home folder of another user (" + directories.home +
           "): files made there would lock that user out. Run it as that user, or with root's own HOME.";
  }
  return std::nullopt;
}

std::string helperText(const DeepSleepStatus& helper) {
  if (helper.originalSleepDisabledState) return "the helper answers";
  return "no helper answers: a closed lid suspends until one runs (VigiloHelper, as root)";
}

// Everything that the host is made of, in the order in which it is built. The queues stand first: they are
// the last to go, and `run` brings them to rest before anything else is destroyed.
class Host {
 public:
  Host(const Directories& directories, RecentLog& recentLog, EndWatch& endWatch);
  int run();

 private:
  void startControl();
  void introduce();
  std::string introduction(const DeepSleepStatus& helper) const;
  void show();
  void publishToFollowers();
  void shutDown();

  const Log log_{"com.vigilo.app", "host"};
  const Directories directories_;
  RecentLog& recentLog_;
  EndWatch& endWatch_;
  const std::unique_ptr<AsioQueue> main_ = AsioQueue::mainQueue();
  const std::unique_ptr<AsioQueue> assertions_ = AsioQueue::withThread("com.vigilo.assertions");
  const std::unique_ptr<AsioQueue> deepSleep_ = AsioQueue::withThread("com.vigilo.deepsleepcontroller");
  const std::unique_ptr<AsioQueue> hooks_ = AsioQueue::withThread("com.vigilo.hookreceiver");
  const std::unique_ptr<AsioQueue> control_ = AsioQueue::withThread("com.vigilo.control");
  const std::unique_ptr<AsioQueue> usageQueue_ = AsioQueue::withThread("usage.coordinator");
  const std::unique_ptr<AsioQueue> scans_ = AsioQueue::withThread(ProcessMonitor::queueLabel);
  const std::unique_ptr<AsioQueue> notificationsQueue_ = AsioQueue::withThread("com.vigilo.notifications");
  const std::unique_ptr<AsioQueue> shortcutQueue_ = AsioQueue::withThread("com.vigilo.shortcut");
  const std::unique_ptr<AsioQueue> diagnosticsQueue_ = AsioQueue::withThread("com.vigilo.diagnostics");
  UsageProviders usageProviders_;
  const std::unique_ptr<AsioQueue> settingsQueue_ = AsioQueue::withThread("com.vigilo.settings");

  const Platform platform_ = Platform::ofThisMachine();
  const std::unique_ptr<LoginItem> loginItem_;
  LaunchAtLoginController launchAtLogin_{*loginItem_};
  DiagnosticsExporter diagnostics_{*platform_.systemReport};
  const std::unique_ptr<UserDefaults> defaults_;
  SettingsStore settings_{*defaults_};
  CancelToken outsideChanges_ = settings_.observeOutsideChanges(*main_);
  SocketHelperTransport transport_;
  const std::shared_ptr<AgentStateCoordinator> agents_ = std::make_shared<AgentStateCoordinator>(Date::now);
  const std::shared_ptr<HookEventReceiver> receiver_;
  const std::shared_ptr<IdleWakeAssertionController> idle_ =
      std::make_shared<IdleWakeAssertionController>(platform_.powerAssertions);
  const std::shared_ptr<DeepSleepController> deep_;
  const std::shared_ptr<BatteryMonitor> battery_ =
      std::make_shared<BatteryMonitor>(*platform_.powerSource, *main_, Date::now);
  const std::shared_ptr<ThermalMonitor> thermal_ =
      std::make_shared<ThermalMonitor>(*platform_.thermalState, *main_);
  const std::shared_ptr<LidMonitor> lid_ = std::make_shared<LidMonitor>(*platform_.lidState);
  const std::shared_ptr<ProcessMonitor> processes_;
  const std::shared_ptr<GlobalShortcutController> shortcut_ =
      GlobalShortcutController::create(*platform_.keyMonitor, *main_, *shortcutQueue_);
  UsageStore usageStore_;
  const std::shared_ptr<UsageCoordinator> usage_;
  const std::shared_ptr<NotificationController> notifications_;
  std::shared_ptr<AppCoordinator> coordinator_;
  std::unique_ptr<StatusSource> status_;
  std::unique_ptr<HostControl> hostControl_;
  std::unique_ptr<ControlServer> controlServer_;  // on the control queue
  TerminalReport terminal_;
  SessionNews sessionNews_;
  std::optional<StatusReport> lastPublished_;
  SettingsNews settingsNews_;
  Date lastLook_;
  bool stopping_ = false;
};

Host::Host(const Directories& directories, RecentLog& recentLog, EndWatch& endWatch)
    : directories_(directories),
      recentLog_(recentLog),
      endWatch_(endWatch),
      usageProviders_(directories),
      loginItem_(makeLoginItem(directories)),
      defaults_(makeUserDefaults(directories, VigiloWritePolicy::gate(directories), *settingsQueue_)),
      receiver_(std::make_shared<HookEventReceiver>(directories.hookSocket(), *hooks_, Date::now)),
      deep_(std::make_shared<DeepSleepController>(
          *deepSleep_, transport_, DeepSleepController::Paths{rootHelperSocket, directories.helperSocket()})),
      processes_(std::make_shared<ProcessMonitor>(
          *scans_, Date::now,
          ProcessMonitor::Sources{directories, *platform_.processTable, *platform_.runningApplications})),
      usageStore_(directories, VigiloWritePolicy::gate(directories), Date::now),
      usage_(UsageCoordinator::create({.mainQueue = *main_,
                                       .queue = *usageQueue_,
                                       .clock = Date::now,
                                       .store = usageStore_,
                                       .providers = usageProviders_.all()})),
      notifications_(NotificationController::create({.queue = *notificationsQueue_,
                                                     .settings = settings_,
                                                     .service = *platform_.userNotifications,
                                                     .sounds = *platform_.systemSounds})) {
  SettingsStore::installShared(&settings_);
  UsageStore::installShared(&usageStore_);
  UsageCoordinator::installShared(usage_.get());
  NotificationController::installShared(notifications_.get());
  GlobalShortcutController::installShared(shortcut_.get());
  LaunchAtLoginController::installShared(&launchAtLogin_);
  DiagnosticsExporter::installShared(&diagnostics_);
  battery_->queryPowerSource();
  coordinator_ = AppCoordinator::create({.mainQueue = *main_,
                                         .assertionsQueue = *assertions_,
                                         .deepSleepQueue = *deepSleep_,
                                         .clock = Date::now,
                                         .settings = settings_,
                                         .agentCoordinator = agents_,
                                         .idleAssertionController = idle_,
                                         .deepSleepController = deep_,
                                         .batteryMonitor = battery_,
                                         .thermalMonitor = thermal_,
                                         .lidMonitor = lid_,
                                         .processMonitor = processes_,
                                         .hookReceiver = receiver_,
                                         .usageCoordinator = usage_,
                                         .notifications = notifications_,
                                         .shortcutController = shortcut_,
                                         .diagnosticsExporter = &diagnostics_,
                                         .diagnosticsQueue = diagnosticsQueue_.get()});
  status_ = std::make_unique<StatusSource>(StatusSource::Parts{.mainQueue = *main_,
                                                               .assertionsQueue = *assertions_,
                                                               .deepSleepQueue = *deepSleep_,
                                                               .clock = Date::now,
                                                               .settings = settings_,
                                                               .coordinator = coordinator_,
                                                               .idleAssertionController = idle_,
                                                               .deepSleepController = deep_,
                                                               .batteryMonitor = battery_,
                                                               .thermalMonitor = thermal_,
                                                               .lidMonitor = lid_,
                                                               .usage = usage_,
                                                               .shortcutController = shortcut_});
  hostControl_ = std::make_unique<HostControl>(HostControl::Parts{.queue = *control_,
                                                                  .mainQueue = *main_,
                                                                  .status = *status_,
                                                                  .settings = settings_,
                                                                  .defaults = *defaults_,
                                                                  .usage = *usage_,
                                                                  .coordinator = *coordinator_,
                                                                  .login = launchAtLogin_,
                                                                  .recentLog = recentLog_});
}

int Host::run() {
  main_->onSignal({SIGINT, SIGTERM, SIGHUP}, [this](int) { shutDown(); });
  terminal_.onDecision = [this](const std::string& news) {
    recentLog_.add(Date::now(), RecentLog::decision, news);
  };
  coordinator_->onEvaluated = [this] { show(); };
  status_->onRefreshed = [this] { show(); };
  recentLog_.add(Date::now(), RecentLog::decision, "the host has started");
  startControl();
  coordinator_->start();
  introduce();
  main_->run();
  control_->sync([this] { controlServer_.reset(); });
  usageQueue_->sync([] {});  // what the stop has left to do there, the sync to the disk above all
  if (const auto error = defaults_->synchronize()) note(error->description);
  const bool shortcutIsGivenBack = comesToRest(*shortcutQueue_, shortcutPatience);
  for (AsioQueue* queue : {control_.get(), hooks_.get(), assertions_.get(), deepSleep_.get(),
                           usageQueue_.get(), notificationsQueue_.get(), diagnosticsQueue_.get()})
    queue->stopAndWait();
  if (shortcutIsGivenBack) shortcutQueue_->stopAndWait();
  usageProviders_.stopAndWait();
  if (!scans_->stopAndWait(scanPatience) || !shortcutIsGivenBack) {
    // A scan hangs in a folder or in another process's memory, or the desktop hangs. Everything else is done.
    endAtOnce();
  }
  main_->stopAndWait();
  SettingsStore::installShared(nullptr);
  UsageStore::installShared(nullptr);
  UsageCoordinator::installShared(nullptr);
  NotificationController::installShared(nullptr);
  GlobalShortcutController::installShared(nullptr);
  LaunchAtLoginController::installShared(nullptr);
  DiagnosticsExporter::installShared(nullptr);
  return exitOk;
}

void Host::startControl() {
  control_->sync([this] {
    controlServer_ = std::make_unique<ControlServer>(
        *control_, directories_.controlSocket(),
        [this](const ControlRequest& request, const ControlServer::Respond& respond) {
          hostControl_->handle(request, respond);
        });
    try {
      controlServer_->start();
    } catch (const std::system_error& error) {
      note(std::string("commands cannot reach this host: ") + error.what());
    }
  });
}

// What the services say of themselves is asked off the main queue.
void Host::introduce() {
  deep_->status([this](const DeepSleepStatus& helper) {
    assertions_->async([this, helper] {
      // By way of the queue on which the desktop is asked for the shortcut: its first answer comes before.
      shortcutQueue_->async([this, lines = introduction(helper)] {
        main_->async([this, lines] {
          const KeyMonitorState& shortcut = shortcut_->state();
          terminal_.introduce(lines + "  shortcut   " +
                              shortcutText({shortcut.isRegistered, shortcut.description}) + "\n");
          show();
          status_->refresh();
        });
      });
    });
  });
}

std::string Host::introduction(const DeepSleepStatus& helper) const {
  const auto row = [](const char* name, const std::string& text) {
    return std::string("  ") + name + plainWords(text) + "\n";
  };
  return "Vigilo keeps this machine awake while coding agents work. Ctrl-C ends it and releases "
         "everything.\n" +
         row("hooks      ", receiver_->isRunning()
                                ? directories_.hookSocket()
                                : "not received: the socket could not be made (see the log)") +
         row("idle hold  ", platform_.powerAssertions->description()) +
         row("deep hold  ", helperText(helper)) + row("lid        ", platform_.lidState->description()) +
         row("power      ", powerText(battery_->currentSnapshot())) +
         row("thermal    ", platform_.thermalState->description()) +
         row("notices    ", platform_.userNotifications->description()) +
         row("settings   ", directories_.preferences + "/com.vigilo.app.toml");
}

void Host::show() {
  // Changes on network homes tell nobody: a look once a second finds them.
  if (const Date now = Date::now(); !(now - lastLook_ < 1 && now >= lastLook_)) {
    lastLook_ = now;
    defaults_->checkForChanges();
  }
  const WakeDecision& decision = coordinator_->currentDecision.get();
  status_->evaluated();
  for (const auto& news : sessionNews_.since(coordinator_->activeSessionsList.get()))
    recentLog_.add(Date::now(), "session", news);
  terminal_.show(decision, status_->inForce(), Date::now());
  settingsNews_.tell(settings_.problems());
  publishToFollowers();
}

// A follower is told what changed, not that time has passed.
void Host::publishToFollowers() {
  if (!controlServer_->hasFollowers()) return;
  const StatusReport report = status_->current();
  if (lastPublished_ && sameButForTime(*lastPublished_, report)) return;
  lastPublished_ = report;
  control_->async([this, report] {
    if (controlServer_ != nullptr) controlServer_->publish(report);
  });
}

void Host::shutDown() {
  if (stopping_) return;
  stopping_ = true;
  endWatch_.begin(endPatience);
  coordinator_->stop([this] { main_->stop(); });
  main_->asyncAfter(releasePatience, [this] {
    log_.error("Not every hold was given back in time: a deep hold that is left ends within 65 s");
    main_->stop();
  });
}

}  // namespace

int runHost(const Directories& directories, HostOptions options) {
  if (const auto problem = homeProblem(directories)) return fail(exitNoPermission, *problem);
  std::signal(SIGPIPE, SIG_IGN);
  RecentLog recentLog;
  const HostLog log(options.verbose, recentLog);
  if (const auto error = makePrivateFolder(directories.vigilo()))
    return fail(exitNoPermission, error->description);
  const auto lock = InstanceLock::take(directories.instanceLock(), InstanceLock::Role::host, lockPatienceMs);
  if (lock.holder) {
    return fail(exitAlreadyRunning, "a host of this user runs already (process " +
                                        std::to_string(lock.holder->pid) + "). `vigilo status` asks it.");
  }
  if (lock.error) return fail(exitNoPermission, lock.error->description);
  EndWatch endWatch;
  return Host(withAgentFolders(directories), recentLog, endWatch).run();
}

}  // namespace vigilo
