#include "VigiloApp/host/StatusSource.h"

namespace vigilo {
namespace {

// What the helper said of a lease says nothing any more once the lease has lapsed.
bool isOutdated(const std::optional<DeepSleepStatus>& helper, Date now) {
  return helper && helper->isDeepHoldActive && helper->leaseExpiresAt && *helper->leaseExpiresAt <= now;
}

}  // namespace

StatusSource::StatusSource(Parts parts)
    : parts_(std::move(parts)), self_(std::make_shared<StatusSource*>(this)) {
  helperTimer_ = parts_.mainQueue.timer(helperPeriod, helperPeriod, [this] {
    if (parts_.coordinator->currentDecision.get().isHolding()) refresh();
  });
}

void StatusSource::fresh(std::function<void(StatusReport)> done) {
  waiters_.push_back({std::move(done), nullptr});
  waiters_.back().patience = parts_.mainQueue.timer(patience, Duration::zero(), [this] { serveWaiters(); });
  refresh();
}

void StatusSource::serveWaiters() {
  const auto waiters = std::exchange(waiters_, {});
  if (waiters.empty()) return;
  const StatusReport report = current();
  for (const auto& waiter : waiters) waiter.done(report);
}

void StatusSource::refresh() {
  if (std::exchange(refreshing_, true)) {
    again_ = true;
    return;
  }
  parts_.assertionsQueue.async([self = self_, &main = parts_.mainQueue, idle = parts_.idleAssertionController,
                                lid = parts_.lidMonitor] {
    const Facts facts{idle->isActive(), lid->queryClamshellState()};
    main.async([self, facts] {
      if (*self == nullptr) return;
      (*self)->newFacts_ = facts;
      (*self)->answered();
    });
  });
  parts_.deepSleepController->status([self = self_, &main = parts_.mainQueue](const DeepSleepStatus& helper) {
    main.async([self, helper] {
      if (*self == nullptr) return;
      (*self)->newHelperStatus_ = helper;
      (*self)->answered();
    });
  });
}

void StatusSource::answered() {
  if (!newFacts_ || !newHelperStatus_) return;
  facts_ = *std::exchange(newFacts_, std::nullopt);
  parts_.coordinator->helperStatus.set(std::exchange(newHelperStatus_, std::nullopt));
  refreshing_ = false;
  if (std::exchange(again_, false)) refresh();
  serveWaiters();
  if (onRefreshed) onRefreshed();
}

StatusReport StatusSource::current() const {
  const AppCoordinator& coordinator = *parts_.coordinator;
  const SettingsStore& settings = parts_.settings;
  StatusReport report;
  report.currentDecision = coordinator.currentDecision.get();
  report.statusDescription = report.currentDecision.statusDescription();
  report.protectionStartedAt = coordinator.protectionStartedAt.get();
  report.elapsedProtectionSeconds = coordinator.elapsedProtectionSeconds();
  report.activeSessionsList = coordinator.activeSessionsList.get();
  report.dominantVisualState = coordinator.dominantVisualState.get();
  report.helperStatus = coordinator.helperStatus.get();
  if (isOutdated(report.helperStatus, parts_.clock())) report.helperStatus.reset();
  report.idleAssertionActive = facts_.idleAssertionActive;
  report.powerSource = parts_.batteryMonitor->currentSnapshot();
  report.thermalState = parts_.thermalMonitor->currentThermalState();
  report.isLidClosed = facts_.isLidClosed;
  report.pauseUntil = settings.pauseUntil();
  if (report.pauseUntil && *report.pauseUntil <= parts_.clock()) report.pauseUntil.reset();
  report.todaySummary = parts_.usage->todaySummary.get();
  report.latestBudgetReports = parts_.usage->latestBudgetReports.get();
  report.lowBudgetAlerts = parts_.usage->lowBudgetAlerts.get();
  const KeyMonitorState& shortcut = parts_.shortcutController->state();
  report.shortcut = {shortcut.isRegistered, shortcut.description};
  report.settings = {.masterEnabled = settings.masterEnabled(),
                     .manualHoldEnabled = settings.manualHoldEnabled(),
                     .releaseDelaySeconds = settings.releaseDelaySeconds(),
                     .batteryFloorPercent = settings.batteryFloorPercent(),
                     .onlyOnAC = settings.onlyOnAC(),
                     .deepLidProtectionEnabled = settings.deepLidProtectionEnabled(),
                     .preventDisplaySleep = settings.preventDisplaySleep(),
                     .launchAtLogin = settings.launchAtLogin(),
                     .notificationsEnabled = settings.notificationsEnabled(),
                     .soundEnabled = settings.soundEnabled(),
                     .hasCompletedOnboarding = settings.hasCompletedOnboarding()};
  if (auto problems = settings.problems(); !problems.empty()) report.settingsProblems = std::move(problems);
  return report;
}

}  // namespace vigilo
