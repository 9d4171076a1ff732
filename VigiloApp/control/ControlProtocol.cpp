#include "VigiloApp/control/ControlProtocol.h"

#include "VigiloApp/commands/SettingsCommands.h"
#include "policy/WakeDecisionCoding.h"
#include "usage/BudgetMetricCoding.h"

namespace vigilo {

VIGILO_RECORD_CODING(SettingsReport);
VIGILO_RECORD_CODING(ShortcutReport);
VIGILO_RECORD_CODING(StatusReport);
VIGILO_RECORD_CODING(LoginItemReport);
VIGILO_RECORD_CODING(LogEntry);
VIGILO_RECORD_CODING(ControlRequest);
VIGILO_RECORD_CODING(ControlResponse);
// The lists that `--json` prints.
template std::string encodeRecord(const std::vector<SessionUsageRecord>&, CoderOptions);
template std::string encodeRecord(const std::vector<ProviderBudgetReport>&, CoderOptions);
template std::string encodeRecord(const PauseReport&, CoderOptions);
template std::string encodeRecord(const SettingEntry&, CoderOptions);
template std::string encodeRecord(const std::vector<SettingEntry>&, CoderOptions);
template std::string encodeRecord(const std::vector<LogEntry>&, CoderOptions);

namespace {

// A session's line is a few hundred bytes; no more than this can ever fit.
constexpr std::size_t mostSessions = 400;

void keepNewest(StatusReport& status, std::size_t count) {
  const std::size_t have = status.activeSessionsList.size();
  if (have <= count) return;
  status.omittedSessions = status.omittedSessions.value_or(0) + static_cast<std::int64_t>(have - count);
  status.activeSessionsList.resize(count);
}

// Halves what can be left out; false when nothing is left to leave out.
bool shorten(ControlResponse& response) {
  if (response.status && !response.status->activeSessionsList.empty()) {
    keepNewest(*response.status, response.status->activeSessionsList.size() / 2);
    return true;
  }
  if (response.recentLog && !response.recentLog->empty()) {
    auto& entries = *response.recentLog;
    entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>((entries.size() + 1) / 2));
    return true;
  }
  if (!response.usageSessions || response.usageSessions->empty()) return false;
  response.usageSessions->resize(response.usageSessions->size() / 2);
  return true;
}

}  // namespace

std::string controlLine(ControlResponse response) {
  if (response.status) keepNewest(*response.status, mostSessions);
  if (response.usageSessions && response.usageSessions->size() > mostSessions) {
    response.usageSessions->resize(mostSessions);
  }
  std::string line = encodeRecord(response, controlForm) + "\n";
  while (line.size() > controlMessageLimit && shorten(response))
    line = encodeRecord(response, controlForm) + "\n";
  return line;
}

}  // namespace vigilo
