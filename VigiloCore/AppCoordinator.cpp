#include "AppCoordinator.h"

#include <algorithm>
#include <chrono>

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr auto evaluationPeriod = 1s;
constexpr double scanIntervalSeconds = 1;
// A tick that comes this much late by the wall clock means that the machine slept or the clock was set: every
// input is read again.
constexpr double resumeGapSeconds = 5;
// Sessions that nobody has heard of for a day are forgotten; and beyond so many, the oldest inactive ones.
constexpr double forgetAfterSeconds = 24 * 3600;
constexpr std::size_t mostSessions = 20000;

}  // namespace

// Hands each hook event to the sessions, and then to the usage, under the session that it belongs to. What
// outranks the next scan knows of it before the sessions tell anybody. What nobody can attribute still counts
// as usage.
class AppCoordinator::HookFanOut final : public HookEventReceiverDelegate {
 public:
  HookFanOut(std::shared_ptr<HookPrecedence> precedence, std::shared_ptr<AgentStateCoordinator> agents,
             std::shared_ptr<UsageCoordinator> usage)
      : precedence_(std::move(precedence)), agents_(std::move(agents)), usage_(std::move(usage)) {}

  void didReceiveHookEvent(const HookEvent& received) override {
    HookEvent event = received;
    if (auto session = agents_->sessionOf(received)) {
      event.sessionId = *std::move(session);
      precedence_->note(event);
      agents_->didReceiveHookEvent(event);
    } else {
      log_.debug("An event of %s without a session id changes none of several sessions",
                 rawValue(event.agent));
    }
    if (usage_ != nullptr) usage_->handleHookEvent(event);
  }

 private:
  const std::shared_ptr<HookPrecedence> precedence_;
  const std::shared_ptr<AgentStateCoordinator> agents_;
  const std::shared_ptr<UsageCoordinator> usage_;
  const Log log_{"com.vigilo.app", "agents"};
};

std::shared_ptr<AppCoordinator> AppCoordinator::create(Components components) {
  std::shared_ptr<AppCoordinator> coordinator(new AppCoordinator(std::move(components)));
  coordinator->setupSubscriptions();
  return coordinator;
}

AppCoordinator::AppCoordinator(Components components)
    : parts_(std::move(components)),
      holds_(parts_.assertionsQueue, parts_.deepSleepQueue, parts_.idleAssertionController,
             parts_.deepSleepController),
      hookFanOut_(
          std::make_shared<HookFanOut>(hookPrecedence_, parts_.agentCoordinator, parts_.usageCoordinator)) {}

AppCoordinator::~AppCoordinator() = default;

void AppCoordinator::setupSubscriptions() {
  // The values that come along are triggers only: an evaluation reads every input from its owner.
  const auto reevaluate = [weak = weak_from_this()](const auto&...) {
    if (const auto self = weak.lock()) self->scheduleEvaluation();
  };
  parts_.agentCoordinator->setDelegate(weak_from_this());
  parts_.batteryMonitor->onPowerSourceChanged(reevaluate);
  parts_.thermalMonitor->onThermalStateChanged(reevaluate);
  parts_.lidMonitor->onLidStateChanged(reevaluate);
  subscriptions_.push_back(parts_.settings.onChange(reevaluate));
  if (parts_.usageCoordinator != nullptr) {
    subscriptions_.push_back(parts_.usageCoordinator->latestBudgetReports.onWillChange(reevaluate));
  }
  if (parts_.hookReceiver != nullptr) parts_.hookReceiver->setDelegate(hookFanOut_);
  if (parts_.processMonitor != nullptr) {
    parts_.processMonitor->onProcessesUpdated(
        [weak = weak_from_this(), &main = parts_.mainQueue](std::vector<ProcessMatch> matches) {
          main.async([weak, matches = std::move(matches)]() mutable {
            if (const auto self = weak.lock()) self->applyScan(std::move(matches));
          });
        });
  }
}

std::shared_ptr<HookEventReceiverDelegate> AppCoordinator::hookEvents() const {
  return hookFanOut_;
}

void AppCoordinator::start() {
  log_.info("Starting Vigilo AppCoordinator...");
  isStopped_ = false;
  holds_.open();
  if (parts_.notifications != nullptr) parts_.notifications->requestAuthorization();
  parts_.batteryMonitor->start();
  parts_.thermalMonitor->start();
  // The lid is asked for on the bus.
  parts_.assertionsQueue.async([lid = parts_.lidMonitor] { lid->start(); });
  if (parts_.processMonitor != nullptr) parts_.processMonitor->start(scanIntervalSeconds);
  if (parts_.hookReceiver != nullptr) {
    try {
      parts_.hookReceiver->start();
    } catch (const std::exception& error) {
      log_.error("Failed to start hook receiver: %s", error.what());
    }
  }
  if (parts_.shortcutController != nullptr) startShortcut();
  lastTick_.reset();
  evalTimer_ = parts_.mainQueue.timer(evaluationPeriod, evaluationPeriod, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->tick();
  });
  if (parts_.usageCoordinator != nullptr) parts_.usageCoordinator->start();
  evaluate();
}

// The shortcut flips the master switch.
void AppCoordinator::startShortcut() {
  parts_.shortcutController->onToggleRequested = [weak = weak_from_this(), &main = parts_.mainQueue] {
    main.async([weak] {
      const auto self = weak.lock();
      if (self == nullptr) return;
      self->parts_.settings.masterEnabled(!self->parts_.settings.masterEnabled());
      self->evaluate();
    });
  };
  parts_.shortcutController->start();
}

void AppCoordinator::stop(std::function<void()> released) {
  isStopped_ = true;
  evalTimer_.reset();
  if (parts_.usageCoordinator != nullptr) parts_.usageCoordinator->stop();
  if (parts_.hookReceiver != nullptr) parts_.hookReceiver->stop();
  parts_.batteryMonitor->stop();
  parts_.thermalMonitor->stop();
  if (parts_.processMonitor != nullptr) parts_.processMonitor->stop();
  if (parts_.shortcutController != nullptr) parts_.shortcutController->stop();
  holds_.close(std::move(released));
}

void AppCoordinator::tick() {
  const Date now = parts_.clock();
  refreshInputsAfterPause(now);
  removeForgottenSessions(now);
  evaluate();
}

void AppCoordinator::applyScan(std::vector<ProcessMatch> matches) {
  if (isStopped_) return;
  {
    const SessionPicture picture = parts_.agentCoordinator->picture();
    hookPrecedence_->apply(matches, *picture.sessions, picture.now);
  }
  parts_.agentCoordinator->syncProcessSessions(matches);
  evaluate();
}

void AppCoordinator::refreshInputsAfterPause(Date now) {
  const bool gap = lastTick_ && (now - *lastTick_ > resumeGapSeconds || now < *lastTick_);
  lastTick_ = now;
  if (!gap) return;
  Log("com.vigilo.app", "clock")
      .info("The clock moved by itself (a sleep, or the time was set): reading every input again");
  parts_.batteryMonitor->refresh();
  parts_.thermalMonitor->refresh();
}

void AppCoordinator::removeForgottenSessions(Date now) {
  std::vector<std::pair<Date, std::string>> inactive;  // when last heard of, id
  std::size_t count = 0;
  {
    const SessionSnapshot sessions = parts_.agentCoordinator->sessions();
    count = sessions->size();
    for (const auto& [id, session] : *sessions) {
      if (session.isWorking()) continue;
      if (count > mostSessions || now - session.lastEventAt > forgetAfterSeconds) {
        inactive.emplace_back(session.lastEventAt, id);
      }
    }
  }
  std::sort(inactive.begin(), inactive.end());
  for (const auto& [lastEventAt, id] : inactive) {
    if (count <= mostSessions && now - lastEventAt <= forgetAfterSeconds) break;
    parts_.agentCoordinator->removeSession(id);
    --count;
  }
}

void AppCoordinator::scheduleEvaluation() {
  if (evaluationWaits_.exchange(true)) return;
  parts_.mainQueue.async([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (self != nullptr && self->evaluationWaits_) self->evaluate();
  });
}

void AppCoordinator::agentSessionsDidChange(const SessionSnapshot&, std::optional<Date>) {
  scheduleEvaluation();
}

void AppCoordinator::coordinatorDidUpdateSessions(SessionSnapshot sessions,
                                                  std::optional<Date> lastActiveAgentStoppedAt) {
  agentSessionsDidChange(sessions, lastActiveAgentStoppedAt);
}

void AppCoordinator::evaluate() {
  evaluationWaits_ = false;
  if (isStopped_) return;
  PolicyEvaluationContext context;
  context.config = parts_.settings.policyConfig();
  context.powerSource = parts_.batteryMonitor->currentSnapshot();
  context.thermalState = parts_.thermalMonitor->currentThermalState();
  context.pauseUntil = parts_.settings.pauseUntil();
  context.isCurrentlyBatteryBlocked = isBatteryBlocked_;
  // Last, and one moment: nothing that was read is later, and whether a session has gone stale is the same to
  // the table and to the decision.
  SessionPicture picture = parts_.agentCoordinator->picture();
  context.sessions = std::move(picture.sessions);
  context.lastActiveAgentStoppedAt = picture.lastActiveAgentStoppedAt;
  context.now = picture.now;
  const WakeDecision decision = policyEngine_.evaluate(context);

  updateBatteryLatch(decision, context.powerSource, context.config);
  publishSessions(*context.sessions);
  publishPresentation(decision, context.now);
  currentDecision.set(decision);
  handleDecisionTransition(previousDecision_, decision);
  previousDecision_ = decision;
  if (onEvaluated) onEvaluated();
}

// A latch survives other blocks for as long as the battery stays low; an unknown charge clears it only on AC.
void AppCoordinator::updateBatteryLatch(const WakeDecision& decision, const PowerSourceSnapshot& power,
                                        const PolicyConfiguration& config) {
  if (decision.isBlocked(SafetyBlock::batteryBelowFloor))
    isBatteryBlocked_ = true;
  else if (power.isOnAC)
    isBatteryBlocked_ = false;
  else if (power.batteryPercent.value_or(0) >= config.batteryFloorPercent + config.batteryHysteresisPercent) {
    isBatteryBlocked_ = false;
  }
}

void AppCoordinator::publishSessions(const SessionTable& sessions) {
  std::vector<const AgentSession*> order;
  order.reserve(sessions.size());
  for (const auto& entry : sessions) order.push_back(&entry.second);
  // The table has no order of its own: sessions that began at the same moment go by id, so that the list is
  // stable.
  std::sort(order.begin(), order.end(), [](const AgentSession* a, const AgentSession* b) {
    return a->startedAt != b->startedAt ? a->startedAt > b->startedAt : a->id < b->id;
  });
  std::vector<AgentSession> list;
  list.reserve(order.size());
  for (const auto* session : order) list.push_back(*session);
  activeSessionsList.set(std::move(list));
}

void AppCoordinator::publishPresentation(const WakeDecision& decision, Date now) {
  static const std::map<AgentType, ProviderBudgetReport> noReports;
  const auto& reports =
      parts_.usageCoordinator ? parts_.usageCoordinator->latestBudgetReports.get() : noReports;
  agentFamilies.set(AgentFamilyPresentation::buildFamilies(activeSessionsList.get(), reports, now));
  dominantVisualState.set(aggregateVisualState(activeSessionsList.get(), decision));
}

void AppCoordinator::handleDecisionTransition(const WakeDecision& from, const WakeDecision& to) {
  if (const auto* hold = to.hold()) {
    if (!from.isHolding()) protectionStartedAt.set(parts_.clock());
    requestHold(*hold);
    if (!from.isHolding() && parts_.notifications != nullptr)
      parts_.notifications->notifyProtectionStarted(std::max(hold->activeAgentCount, 1));
  } else if (from.isHolding()) {
    protectionStartedAt.set(std::nullopt);
    holds_.release([] {});
    notifyOfEnd(to);
  }
}

// What the user asked for himself, a pause say, is no news to him.
void AppCoordinator::notifyOfEnd(const WakeDecision& decision) {
  if (parts_.notifications == nullptr) return;
  if (decision.release() != nullptr) {
    parts_.notifications->notifyProtectionFinished();
  } else if (decision.isBlocked(SafetyBlock::thermalCritical)) {
    parts_.notifications->notifyThermalCutoff();
  } else if (decision.isBlocked(SafetyBlock::batteryBelowFloor)) {
    const auto percent = parts_.batteryMonitor->currentSnapshot().batteryPercent;
    if (percent) parts_.notifications->notifyBatteryCutoff(*percent);
  }
}

void AppCoordinator::requestHold(const WakeDecision::Hold& hold) {
  holds_.hold({hold.reason, parts_.settings.preventDisplaySleep(), hold.requiresDeepHold});
}

void AppCoordinator::exportDiagnosticsJSON(std::function<void(std::string json)> done) const {
  if (parts_.diagnosticsExporter == nullptr) return done("{}");
  parts_.diagnosticsQueue->async([exporter = parts_.diagnosticsExporter, decision = currentDecision.get(),
                                  power = parts_.batteryMonitor->currentSnapshot(),
                                  thermal = parts_.thermalMonitor->currentThermalState(),
                                  sessions = activeSessionsList.get(), helper = helperStatus.get(),
                                  done = std::move(done)]() mutable {
    done(exporter->exportJSON(
        exporter->generateReport(decision, power, thermal, std::move(sessions), std::move(helper))));
  });
}

double AppCoordinator::elapsedProtectionSeconds() const {
  const auto& since = protectionStartedAt.get();
  return since ? parts_.clock() - *since : 0;
}

}  // namespace vigilo
