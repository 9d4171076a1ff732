#pragma once

#include "VigiloApp/ControlProtocol.h"
#include "VigiloApp/ControlServer.h"
#include "VigiloApp/DiagnosticsPages.h"
#include "VigiloApp/StatusSource.h"
#include "app/LaunchAtLoginController.h"
#include "policy/SettingsStore.h"

namespace vigilo {

// Answers the commands of the control socket for the running host. Called on the control queue; status is
// gathered on the main queue, settings are written on the control queue.
class HostControl {
 public:
  // All must outlive the control queue's work.
  HostControl(Queue& queue, Queue& mainQueue, StatusSource& status, SettingsStore& settings,
              UserDefaults& defaults, UsageCoordinator& usage, AppCoordinator& coordinator,
              LaunchAtLoginController& login)
      : queue_(queue),
        mainQueue_(mainQueue),
        status_(status),
        settings_(settings),
        defaults_(defaults),
        usage_(usage),
        coordinator_(coordinator),
        login_(login) {}

  void handle(const ControlRequest& request, const ControlServer::Respond& respond);

 private:
  void answerStatus(const ControlServer::Respond& respond);
  void answerBudgets(const ControlServer::Respond& respond);
  void answerDiagnostics(const ControlRequest& request, const ControlServer::Respond& respond);
  void resetUsage(const ControlServer::Respond& respond);

  Queue& queue_;
  Queue& mainQueue_;
  StatusSource& status_;
  SettingsStore& settings_;
  UserDefaults& defaults_;
  UsageCoordinator& usage_;
  AppCoordinator& coordinator_;
  LaunchAtLoginController& login_;
  DiagnosticsPages diagnostics_{queue_};
};

}  // namespace vigilo
