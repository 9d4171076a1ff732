#include "VigiloApp/HostControl.h"

#include "VigiloApp/SettingsCommands.h"

namespace vigilo {

void HostControl::handle(const ControlRequest& request, const ControlServer::Respond& respond) {
  if (request.command == ControlCommand::status || request.command == ControlCommand::follow) {
    mainQueue_.async([&status = status_, respond] {
      status.fresh([respond](StatusReport report) {
        ControlResponse response;
        response.status = std::move(report);
        respond(std::move(response));
      });
    });
    return;
  }
  ControlResponse response = carryOut(request, settings_, defaults_);
  if (response.exitCode == exitBadSettingsFile) {
    response.message = response.message.value_or("") + "\nThe change is in force until the host ends.";
  }
  respond(std::move(response));
}

}  // namespace vigilo
