#pragma once

#include "VigiloApp/ControlProtocol.h"
#include "VigiloApp/ControlServer.h"
#include "VigiloApp/StatusSource.h"
#include "policy/SettingsStore.h"

namespace vigilo {

// Answers the commands of the control socket for the running host. Called on the control queue; status is
// gathered on the main queue, settings are written on the control queue.
class HostControl {
 public:
  // All must outlive the control queue's work.
  HostControl(Queue& mainQueue, StatusSource& status, SettingsStore& settings, UserDefaults& defaults,
              UsageCoordinator& usage, const RecentLog& recentLog)
      : mainQueue_(mainQueue),
        status_(status),
        settings_(settings),
        defaults_(defaults),
        usage_(usage),
        recentLog_(recentLog) {}

  void handle(const ControlRequest& request, const ControlServer::Respond& respond);

 private:
  void answerStatus(const ControlServer::Respond& respond);
  void answerBudgets(const ControlServer::Respond& respond);
  void answerRecentLog(const ControlRequest& request, const ControlServer::Respond& respond);
  void resetUsage(const ControlServer::Respond& respond);

  Queue& mainQueue_;
  StatusSource& status_;
  SettingsStore& settings_;
  UserDefaults& defaults_;
  UsageCoordinator& usage_;
  const RecentLog& recentLog_;
};

}  // namespace vigilo
