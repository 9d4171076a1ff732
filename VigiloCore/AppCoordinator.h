#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "HoldApplier.h"
#include "NotificationController.h"
#include "UsageCoordinator.h"
#include "agents/AgentStateCoordinator.h"
#include "agents/HookEventReceiver.h"
#include "agents/HookPrecedence.h"
#include "agents/ProcessMonitor.h"
#include "app/AgentFamilyPresentation.h"
#include "app/DiagnosticsExporter.h"
#include "app/GlobalShortcutController.h"
#include "app/VigiloVisualState.h"
#include "policy/BatteryMonitor.h"
#include "policy/LidMonitor.h"
#include "policy/SettingsStore.h"
#include "policy/ThermalMonitor.h"
#include "policy/WakePolicyEngine.h"
#include "support/Log.h"
#include "support/Observable.h"
#include "support/Queue.h"

namespace vigilo {

// The central object of the host. It starts and stops the monitors and the receiver, gathers their latest
// state into a context once a second and on every change, lets the wake policy decide, hands what is to be
// held to the queues of the holds, and publishes what the user is shown.
//
// All state belongs to the main queue, and every member is called there, except `agentSessionsDidChange` and
// `coordinatorDidUpdateSessions`, which any thread may call. Callbacks from elsewhere hop to the main queue;
// evaluations that wait there fold into one.
class AppCoordinator final : public AgentStateCoordinatorDelegate,
                             public std::enable_shared_from_this<AppCoordinator> {
 public:
  // What the coordinator works with. It keeps the shared parts alive; queues and settings must outlive it.
  struct Components {
    Queue& mainQueue;
    Queue& assertionsQueue;  // where idle assertions are taken and the lid is asked for
    Queue& deepSleepQueue;   // where the deep lease is asked for and renewed; nothing else may block it
    Clock clock;
    SettingsStore& settings;
    std::shared_ptr<AgentStateCoordinator> agentCoordinator;
    std::shared_ptr<IdleWakeAssertionControlling> idleAssertionController;
    std::shared_ptr<DeepSleepControlling> deepSleepController;
    std::shared_ptr<BatteryMonitoring> batteryMonitor;
    std::shared_ptr<ThermalMonitoring> thermalMonitor;
    std::shared_ptr<LidMonitoring> lidMonitor;
    std::shared_ptr<ProcessMonitor> processMonitor;                // none where processes are not looked at
    std::shared_ptr<HookEventReceiver> hookReceiver;               // none in a simulation
    std::shared_ptr<UsageCoordinator> usageCoordinator;            // none where nothing is recorded
    std::shared_ptr<NotificationController> notifications;         // none where nobody is told
    std::shared_ptr<GlobalShortcutController> shortcutController;  // none where there is no keyboard to watch
    // Both or neither; they must outlive the coordinator. Reports are built on the queue.
    DiagnosticsExporter* diagnosticsExporter = nullptr;
    Queue* diagnosticsQueue = nullptr;
  };

  static std::shared_ptr<AppCoordinator> create(Components components);
  ~AppCoordinator() override;

  void start();
  // Ends the evaluation, the receiver and the monitors, and gives back every hold. The published state stays;
  // evaluations that wait on the main queue, or are ordered later, do nothing.
  // `released` comes on a queue of the holds, once the assertions are dropped and the helper has answered or
  // failed to.
  void stop(std::function<void()> released = [] {});
  // One evaluation of the policy, applied and published.
  void evaluate();

  // The sessions have changed: evaluates soon. The arguments are not looked at; `evaluate` reads every input
  // anew.
  void agentSessionsDidChange(const SessionSnapshot& sessions, std::optional<Date> lastStoppedAt);
  void coordinatorDidUpdateSessions(SessionSnapshot sessions,
                                    std::optional<Date> lastActiveAgentStoppedAt) override;

  // What the hook events are for, in place of the receiver's socket. Any thread may call it.
  std::shared_ptr<HookEventReceiverDelegate> hookEvents() const;

  // Seconds under protection; 0 when not protecting.
  double elapsedProtectionSeconds() const;

  // The diagnostics report as JSON, built from the state as it is now. `done` comes on the diagnostics queue,
  // since everybody's assertions are asked for first; without an exporter it comes at once, with "{}".
  void exportDiagnosticsJSON(std::function<void(std::string json)> done) const;

  // Published: observers are told before the value changes. Set by every evaluation.
  Published<WakeDecision> currentDecision{WakeDecision::Release{"Initializing"}};
  Published<std::optional<Date>> protectionStartedAt{std::nullopt};
  Published<std::vector<AgentSession>> activeSessionsList{{}};  // newest first
  Published<std::vector<AgentFamilyPresentation>> agentFamilies{{}};
  Published<VigiloVisualState> dominantVisualState{VigiloVisualState::idle};
  // Set by whoever polls the helper.
  Published<std::optional<DeepSleepStatus>> helperStatus{std::nullopt};

  // Called after each evaluation, with everything above in place.
  std::function<void()> onEvaluated;

 private:
  class HookFanOut;

  explicit AppCoordinator(Components components);
  void setupSubscriptions();
  void startShortcut();
  void scheduleEvaluation();
  void tick();
  void applyScan(std::vector<ProcessMatch> matches);
  void refreshInputsAfterPause(Date now);
  void removeForgottenSessions(Date now);
  void updateBatteryLatch(const WakeDecision& decision, const PowerSourceSnapshot& power,
                          const PolicyConfiguration& config);
  void publishSessions(const SessionTable& sessions);
  void publishPresentation(const WakeDecision& decision, Date now);
  void handleDecisionTransition(const WakeDecision& from, const WakeDecision& to);
  void requestHold(const WakeDecision::Hold& hold);
  void notifyOfEnd(const WakeDecision& decision);

  const Components parts_;
  const WakePolicyEngine policyEngine_{};
  const Log log_{"com.vigilo.app", "coordinator"};
  HoldApplier holds_;

  const std::shared_ptr<HookPrecedence> hookPrecedence_ = std::make_shared<HookPrecedence>();
  const std::shared_ptr<HookFanOut> hookFanOut_;

  WakeDecision previousDecision_{WakeDecision::Release{"Initializing"}};
  bool isBatteryBlocked_ = false;
  bool isStopped_ = false;
  std::optional<Date> lastTick_;
  CancelToken evalTimer_;
  std::vector<std::shared_ptr<void>> subscriptions_;
  std::atomic<bool> evaluationWaits_{false};
};

}  // namespace vigilo
