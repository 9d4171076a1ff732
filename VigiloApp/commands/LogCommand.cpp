#include "VigiloApp/commands/LogCommand.h"

#include <cstdio>

#include "VigiloApp/commands/StatusText.h"
#include "VigiloApp/commands/TextTable.h"
#include "VigiloApp/control/ControlClient.h"
#include "support/RecordCoder.h"

namespace vigilo {

int logCommand(const Directories& directories, bool json) {
  const auto response =
      ControlClient(directories.controlSocket()).request({.command = ControlCommand::recentLog});
  if (!response) {
    std::fputs("vigilo: no host runs. Start one with `vigilo run`.\n", stderr);
    return exitNoHost;
  }
  if (!response->recentLog) {
    std::fprintf(stderr, "vigilo: %s\n", response->message.value_or("the host sent no log").c_str());
    return response->exitCode == exitOk ? exitUnavailable : response->exitCode;
  }
  if (json) return std::printf("%s\n", encodeRecord(*response->recentLog, exportForm).c_str()), exitOk;
  for (const LogEntry& entry : *response->recentLog) {
    std::printf("%s %-11s %s%s\n", localTime(entry.at).c_str(), printable(entry.category).c_str(),
                entry.isError ? "error: " : "", printable(entry.message).c_str());
  }
  return exitOk;
}

}  // namespace vigilo
