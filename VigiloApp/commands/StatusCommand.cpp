#include "VigiloApp/commands/StatusCommand.h"

#include <cstdio>

#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/StatusText.h"
#include "VigiloApp/control/ControlClient.h"
#include "support/RecordCoder.h"

namespace vigilo {
namespace {

// False when nobody reads any more.
bool print(const std::string& text) {
  return std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
}

bool show(const ControlResponse& response, StatusOptions options, int& exitCode) {
  if (!response.status) {
    exitCode = fail(response);
    return false;
  }
  CoderOptions form = exportForm;
  form.pretty = !options.follow;
  if (options.json) {
    StatusReport report = *response.status;
    report.buildFamilies(Date::now());
    return print(encodeRecord(report, form) + "\n");
  }
  return print(statusText(*response.status, Date::now()) + (options.follow ? "\n" : ""));
}

}  // namespace

int statusCommand(const Directories& directories, StatusOptions options) {
  const ControlClient client(directories.controlSocket());
  int exitCode = exitOk;
  bool hostRuns = true;
  if (options.follow) {
    hostRuns =
        client.follow([&](const ControlResponse& response) { return show(response, options, exitCode); });
  } else if (const auto response = client.request({.command = ControlCommand::status})) {
    show(*response, options, exitCode);
  } else {
    hostRuns = false;
  }
  return hostRuns ? exitCode : fail(std::nullopt);
}

}  // namespace vigilo
