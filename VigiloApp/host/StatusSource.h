#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <vector>

#include "AppCoordinator.h"
#include "VigiloApp/control/StatusReport.h"

namespace vigilo {

// Puts the host's status together. What needs a call to a service (the lid and the assertions, the helper's
// status) is asked on the queues of the two holds, each for itself; a report waits for it at most `patience`
// and then shows what was known before, but no lease that has lapsed since. Lives on the main queue, where
// every member is called and every callback comes.
class StatusSource {
 public:
  static constexpr auto patience = std::chrono::milliseconds(500);
  static constexpr auto helperPeriod = std::chrono::seconds(10);  // while holding

  struct Parts {
    Queue& mainQueue;
    Queue& assertionsQueue;
    Clock clock;
    SettingsStore& settings;
    std::shared_ptr<AppCoordinator> coordinator;
    std::shared_ptr<IdleWakeAssertionControlling> idleAssertionController;
    std::shared_ptr<DeepSleepControlling> deepSleepController;
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
  // Asks the services in the background; the helper's status goes to the coordinator. Folds with one under
  // way.
  void refresh();

  // Called after the facts behind `current` were asked anew.
  std::function<void()> onRefreshed;

 private:
  struct Facts {
    bool idleAssertionActive = false;
    bool isLidClosed = false;
  };
  struct Waiter {
    std::function<void(StatusReport)> done;
    CancelToken patience;
  };

  void answered();
  void serveWaiters();

  const Parts parts_;
  Facts facts_;
  // What has come so far of a refresh: it is taken over when both are there, as one.
  std::optional<Facts> newFacts_;
  std::optional<DeepSleepStatus> newHelperStatus_;
  bool refreshing_ = false;
  bool again_ = false;
  std::list<Waiter> waiters_;
  CancelToken helperTimer_;
  // Null once destroyed: answers that come later look here first.
  const std::shared_ptr<StatusSource*> self_;
};

}  // namespace vigilo
