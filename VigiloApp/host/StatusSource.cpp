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
  assertions_.isAnswered = helper_.isAnswered = false;
  const auto waiters = std::exchange(waiters_, {});
  if (waiters.empty()) return;
  const StatusReport report = current();
  for (const auto& waiter : waiters) waiter.done(report);
}

void StatusSource::refresh() {
  askAssertions();
  askHelper();
}

void StatusSource::evaluated() {
  std::optional<bool> isDeepWanted;
  if (const auto* hold = parts_.coordinator->currentDecision.get().hold())
    isDeepWanted = hold->requiresDeepHold;
  if (std::exchange(isDeepWanted_, isDeepWanted) == isDeepWanted && !hasLeaseEnded()) return;
  ++changes_;
  changedAt_ = parts_.clock();
  isIdleKnown_ = false;
  parts_.coordinator->helperStatus.set(std::nullopt);
  refresh();
}

bool StatusSource::mayAsk(Question& question) {
  if (question.isOpen) question.again = true;
  return !std::exchange(question.isOpen, true);
}

void StatusSource::askAssertions() {
  if (!mayAsk(assertions_)) return;
  parts_.assertionsQueue.async([self = self_, &main = parts_.mainQueue, idle = parts_.idleAssertionController,
                                lid = parts_.lidMonitor, changes = changes_] {
    const Facts facts{idle->isActive(), lid->queryClamshellState()};
    main.async([self, facts, changes] {
      if (*self == nullptr) return;
      StatusSource& source = **self;
      source.facts_ = facts;
      const bool isOfNow = changes == source.changes_;
      source.isIdleKnown_ |= isOfNow;
      source.answered(source.assertions_, isOfNow);
    });
  });
}

// By way of the queue on which the lease is asked for: a request that waits there comes first.
void StatusSource::askHelper() {
  if (!mayAsk(helper_)) return;
  parts_.deepSleepQueue.async(
      [self = self_, &main = parts_.mainQueue, deep = parts_.deepSleepController, changes = changes_] {
        deep->status([self, &main, changes](const DeepSleepStatus& helper) {
          main.async([self, changes, helper] {
            if (*self == nullptr) return;
            StatusSource& source = **self;
            const bool isOfNow = changes == source.changes_;
            source.heardOfHelperAt_ = source.parts_.clock();
            if (isOfNow) source.parts_.coordinator->helperStatus.set(helper);
            source.answered(source.helper_, isOfNow);
          });
        });
      });
}

// An answer from before a change is no answer; the question that waits brings one.
void StatusSource::answered(Question& question, bool isOfNow) {
  question.isOpen = false;
  question.isAnswered |= isOfNow;
  if (std::exchange(question.again, false)) &question == &helper_ ? askHelper() : askAssertions();
  if (assertions_.isAnswered && helper_.isAnswered) serveWaiters();
  if (onRefreshed) onRefreshed();
}

bool StatusSource::hasLeaseEnded() const {
  const auto& helper = parts_.coordinator->helperStatus.get();
  if (!helper || !helper->leaseExpiresAt) return false;
  return heardOfHelperAt_ < *helper->leaseExpiresAt && *helper->leaseExpiresAt <= parts_.clock();
}

HoldInForce StatusSource::inForce() const {
  HoldFacts facts{.helper = parts_.coordinator->helperStatus.get(),
                  .ownLeaseId = parts_.deepSleepController->leaseId(),
                  .askedAt = changedAt_};
  if (isIdleKnown_) facts.isIdleHeld = facts_.idleAssertionActive;
  return holdInForce(parts_.coordinator->currentDecision.get(), facts, parts_.clock());
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
  report.inForce = inForce();
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
  const PolicyConfiguration inUse = settings.policyConfig();
  report.settings = {.masterEnabled = inUse.masterEnabled,
                     .manualHoldEnabled = inUse.manualHoldEnabled,
                     .releaseDelaySeconds = inUse.releaseDebounceSeconds,
                     .batteryFloorPercent = inUse.batteryFloorPercent,
                     .onlyOnAC = inUse.onlyOnAC,
                     .deepLidProtectionEnabled = inUse.deepLidProtectionEnabled,
                     .preventDisplaySleep = settings.preventDisplaySleep(),
                     .launchAtLogin = settings.launchAtLogin(),
                     .notificationsEnabled = settings.notificationsEnabled(),
                     .soundEnabled = settings.soundEnabled(),
                     .hasCompletedOnboarding = settings.hasCompletedOnboarding()};
  if (auto problems = settings.problems(); !problems.empty()) report.settingsProblems = std::move(problems);
  return report;
}

}  // namespace vigilo
