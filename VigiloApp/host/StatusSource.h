#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <vector>

#include "AppCoordinator.h"
#include "VigiloApp/control/StatusReport.h"

namespace vigilo {

// Puts the host's status together. What needs a call to a service (the lid and the assertions, the helper's
// status) is asked on the queues of the two holds, each for itself; a report waits for both at most
// `patience` and then shows what was known before, but no lease that has lapsed since. Lives on the main
// queue, where every member is called and every callback comes.
class StatusSource {
 public:
  static constexpr auto patience = std::chrono::milliseconds(500);
  static constexpr auto helperPeriod = std::chrono::seconds(10);  // while holding

  struct Parts {
    Queue& mainQueue;
    Queue& assertionsQueue;
    Queue& deepSleepQueue;
    Clock clock;
    SettingsStore& settings;
    std::shared_ptr<AppCoordinator> coordinator;
    std::shared_ptr<IdleWakeAssertionControlling> idleAssertionController;
    std::shared_ptr<DeepSleepController> deepSleepController;
    std::shared_ptr<BatteryMonitoring> batteryMonitor;
    std::shared_ptr<ThermalMonitoring> thermalMonitor;
    std::shared_ptr<LidMonitoring> lidMonitor;
    std::shared_ptr<UsageCoordinator> usage;
    std::shared_ptr<GlobalShortcutController> shortcutController;
  };

  explicit StatusSource(Parts parts);
  ~StatusSource() { *self_ = nullptr; }

  // Asks the services anew and calls `done` with the report.
  void fresh(std::function<void(StatusReport)> done);
  // The report from what is known now.
  StatusReport current() const;
  // How far the present decision is in force, from what is known now.
  HoldInForce inForce() const;
  // Asks the services in the background; the helper's status goes to the coordinator. Folds with what is
  // under way.
  void refresh();
  // The coordinator has evaluated. Where something else is to be held than before, or a lease that was told
  // of has ended since, what the services said says nothing any more: they are asked anew.
  void evaluated();

  // Called after a service has answered.
  std::function<void()> onRefreshed;

 private:
  struct Facts {
    bool idleAssertionActive = false;
    bool isLidClosed = false;
  };
  // One service that is asked, once at a time.
  struct Question {
    bool isOpen = false;
    bool again = false;
    bool isAnswered = false;  // since waiters were served last
  };
  struct Waiter {
    std::function<void(StatusReport)> done;
    CancelToken patience;
  };

  bool hasLeaseEnded() const;
  void askAssertions();
  void askHelper();
  bool mayAsk(Question& question);
  void answered(Question& question, bool isOfNow);
  void serveWaiters();

  const Parts parts_;
  Question assertions_;
  Question helper_;
  Facts facts_;
  bool isIdleKnown_ = false;          // since the last change
  std::optional<bool> isDeepWanted_;  // of the present hold; absent without one
  Date changedAt_;
  Date heardOfHelperAt_;
  std::uint64_t changes_ = 0;
  std::list<Waiter> waiters_;
  CancelToken helperTimer_;
  // Null once destroyed: answers that come later look here first.
  const std::shared_ptr<StatusSource*> self_;
};

}  // namespace vigilo
