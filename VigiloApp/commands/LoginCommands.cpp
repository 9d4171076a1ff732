#include "VigiloApp/commands/LoginCommands.h"

#include <cstdio>

#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/SettingsCommands.h"
#include "VigiloApp/commands/TextTable.h"
#include "VigiloApp/control/ControlClient.h"
#include "support/AsioQueue.h"
#include "support/RecordCoder.h"

namespace vigilo {
namespace {

// Reading needs no lock and makes no file.
LoginItemReport reportWithoutHost(const Directories& directories) {
  const auto queue = AsioQueue::withThread("com.vigilo.settings");
  const auto defaults = makeUserDefaults(
      directories, [](const std::string&) { return false; }, *queue);
  const auto item = makeLoginItem(directories);
  return loginItemReport(SettingsStore(*defaults), LaunchAtLoginController(*item));
}

std::string row(const char* name, const std::string& text) {
  std::string line = std::string("  ") + name;
  line.append(16 - line.size(), ' ');
  return line + printable(text) + "\n";
}

}  // namespace

LoginItemReport loginItemReport(const SettingsStore& settings, const LaunchAtLoginController& login) {
  const LoginItemState state = login.state();
  return {.status = LaunchAtLoginController::description(state.status),
          .isEnabled = state.status == LoginItemStatus::enabled,
          .launchAtLogin = settings.launchAtLogin(),
          .sources = state.sources,
          .program = state.program,
          .remark = state.remark};
}

std::string loginItemText(const LoginItemReport& report) {
  std::string text = "Launch at login: " + report.status + "\n";
  if (report.program) text += row("starts", *report.program + " run");
  for (const auto& source : report.sources) text += row("by", source);
  if (report.remark) text += row("note", *report.remark);
  if (report.launchAtLogin != report.isEnabled) {
    text += row("setting", std::string("launchAtLogin is ") + (report.launchAtLogin ? "true" : "false") +
                               ", which is not what is registered; `vigilo login on` or `off` settles both.");
  }
  return text;
}

int loginSwitchCommand(const Directories& directories, bool on) {
  const ControlResponse response = settingsCommand(
      directories,
      {.command = ControlCommand::setSetting, .key = "launchAtLogin", .value = on ? "true" : "false"});
  if (response.exitCode == exitOk) return loginStatusCommand(directories, false);
  // The registration has changed all the same.
  if (response.exitCode == exitBadSettingsFile) loginStatusCommand(directories, false);
  return fail(response);
}

int loginStatusCommand(const Directories& directories, bool json) {
  const auto response =
      ControlClient(directories.controlSocket()).request({.command = ControlCommand::loginStatus});
  if (response && !response->loginItem) return fail(response);
  const LoginItemReport report = response ? *response->loginItem : reportWithoutHost(directories);
  const std::string text = json ? encodeRecord(report, exportForm) + "\n" : loginItemText(report);
  return std::fputs(text.c_str(), stdout) >= 0 ? exitOk : exitFailure;
}

}  // namespace vigilo
