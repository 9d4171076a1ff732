#include "VigiloApp/commands/LogCommand.h"

#include <cstdio>

#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/commands/TextTable.h"
#include "VigiloApp/control/ControlClient.h"
#include "support/RecordCoder.h"

namespace vigilo {

int logCommand(const Directories& directories, bool json) {
  const auto response =
      ControlClient(directories.controlSocket()).request({.command = ControlCommand::recentLog});
  if (!response || !response->recentLog) return fail(response);
  if (json) return std::printf("%s\n", encodeRecord(*response->recentLog, exportForm).c_str()), exitOk;
  for (const LogEntry& entry : *response->recentLog) {
    std::printf("%s %-11s %s%s\n", localDateTime(entry.at).c_str(), printable(entry.category).c_str(),
                entry.isError ? "error: " : "", printable(entry.message).c_str());
  }
  return exitOk;
}

}  // namespace vigilo
