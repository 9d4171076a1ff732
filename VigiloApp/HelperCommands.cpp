#include "VigiloApp/HelperCommands.h"

#include <cstdio>
#include <optional>

#include "VigiloApp/ControlProtocol.h"
#include "helper/HelperTransport.h"
#include "support/RecordCoder.h"

namespace vigilo {
namespace {

// Asks the helper at the first path where one listens.
std::optional<HelperResponse> ask(const Directories& directories, HelperCommand command) {
  SocketHelperTransport transport;
  std::optional<HelperResponse> result;
  for (const std::string& path : {std::string(rootHelperSocket), directories.helperSocket()}) {
    const std::string request = encodeRecord(HelperRequest{command, std::nullopt, std::nullopt});
    transport.exchange(path, request, [&](HelperTransport::Outcome outcome, const std::string& reply) {
      if (outcome != HelperTransport::Outcome::answered) return;
      if (auto response = decodeRecord<HelperResponse>(reply)) result = *response;
    });
    if (result) break;
  }
  if (!result) std::fputs("vigilo: no helper answers\n", stderr);
  return result;
}

}  // namespace

int helperStatusCommand(const Directories& directories) {
  const auto response = ask(directories, HelperCommand::status);
  if (!response || !response->status) return exitNoHost;
  const DeepSleepStatus& status = *response->status;
  if (!status.isDeepHoldActive)
    std::puts("The helper runs and holds nothing.");
  else if (status.isAskedForButNotInForce())
    std::puts("The helper runs; its hold is asked for, not in force.");
  else
    std::puts("The helper runs and holds system sleep off.");
  return exitOk;
}

int helperUninstallCommand(const Directories& directories) {
  const auto response = ask(directories, HelperCommand::uninstall);
  return !response ? exitNoHost : response->ok ? exitOk : exitFailure;
}

}  // namespace vigilo
