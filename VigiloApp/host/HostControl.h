#pragma once

#include "VigiloApp/control/ControlProtocol.h"
#include "VigiloApp/control/ControlServer.h"
#include "VigiloApp/control/RecentLog.h"
#include "VigiloApp/control/TextPages.h"
#include "VigiloApp/host/StatusSource.h"
#include "app/LaunchAtLoginController.h"
#include "policy/SettingsStore.h"

namespace vigilo {

// Answers the commands of the control socket for the running host. Called on the control queue; status is
// gathered on the main queue, settings are written on the control queue.
class HostControl {
 public:
  // All must outlive the control queue's work.
  struct Parts {
    Queue& queue;  // the control queue
    Queue& mainQueue;
    StatusSource& status;
    SettingsStore& settings;
    UserDefaults& defaults;
    UsageCoordinator& usage;
    AppCoordinator& coordinator;
    LaunchAtLoginController& login;
    const RecentLog& recentLog;
  };
  explicit HostControl(const Parts& parts) : parts_(parts) {}

  void handle(const ControlRequest& request, const ControlServer::Respond& respond);

 private:
  void answerStatus(const ControlServer::Respond& respond);
  void answerBudgets(const ControlServer::Respond& respond);
  void answerDiagnostics(const ControlRequest& request, const ControlServer::Respond& respond);
  void answerUsageExport(const ControlRequest& request, const ControlServer::Respond& respond);
  void answerRecentLog(const ControlRequest& request, const ControlServer::Respond& respond);
  void resetUsage(const ControlServer::Respond& respond);

  // The field of a response that a report travels in.
  using PageField = std::optional<TextPage> ControlResponse::*;
  void answerLaterPage(const ControlRequest& request, PageField field, const ControlServer::Respond& respond);
  // Answers with the first page of a report, from any queue.
  void answerFirstPage(std::string report, PageField field, const ControlServer::Respond& respond);

  const Parts parts_;
  TextPages pages_{parts_.queue};
};

}  // namespace vigilo
