#include "VigiloApp/commands/OverviewCommand.h"

#include <cstdio>
#include <string>

#include "VigiloApp/commands/StatusText.h"
#include "VigiloApp/control/ControlClient.h"

namespace vigilo {
namespace {

constexpr const char* commands =
    "\n"
    "  vigilo agents          which agents reach Vigilo, and what to do next\n"
    "  vigilo setup AGENT     how to make an agent tell Vigilo what it is doing\n"
    "  vigilo status          what is held, why, since when, and what would end it\n"
    "  vigilo top             the same and more, live\n"
    "  vigilo pause 30m       let the machine sleep for a while; `vigilo resume` ends that\n"
    "  vigilo hold on|off     hold with or without agents\n"
    "  vigilo usage           what the agents used today\n"
    "  vigilo login on|off    start the host at login\n"
    "  vigilo diagnostics     a report for whoever is to find out what is wrong\n"
    "  vigilo --help          every command\n";

std::string overview(const std::optional<ControlResponse>& response) {
  if (!response) {
    return "No host runs, so nothing is held. Start one with `vigilo run`, or at every login with `vigilo "
           "login on`.\n";
  }
  if (response->status) return statusSummary(*response->status, Date::now());
  return response->message.value_or("The running host sent no status.") + "\n";
}

}  // namespace

int overviewCommand(const Directories& directories) {
  const auto response =
      ControlClient(directories.controlSocket()).request({.command = ControlCommand::status});
  std::printf("%s%s", overview(response).c_str(), commands);
  return exitOk;
}

}  // namespace vigilo
