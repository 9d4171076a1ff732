#include "VigiloApp/control/ControlProtocol.h"

#include <algorithm>
#include <type_traits>

#include "VigiloApp/commands/SettingsCommands.h"
#include "policy/WakeDecisionCoding.h"
#include "support/Utf8.h"
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
// What a text may have in a message, in bytes. The second is for a message that is too long even so: what is
// left of it then fits with every character escaped.
constexpr std::size_t textLimits[] = {1024, 128};

// Cuts every text of a record. What agents and their files say of themselves may be as long as a message.
template <class T>
void cutTexts(T& value, std::size_t limit) {
  if constexpr (std::is_same_v<T, std::string>) {
    if (value.size() > limit) value = shortened(value, limit);
  } else if constexpr (std::is_same_v<T, TextPage>) {
    // A piece of a report has a size of its own.
  } else if constexpr (RecordType<T>) {
    std::apply([&](const auto&... field) { (cutTexts(value.*field.member, limit), ...); }, T::fields());
  } else if constexpr (requires { value.has_value(); }) {
    if (value) cutTexts(*value, limit);
  } else if constexpr (requires { typename T::mapped_type; }) {
    for (auto& [key, each] : value) cutTexts(each, limit);
  } else if constexpr (requires { value.begin(); }) {
    for (auto& each : value) cutTexts(each, limit);
  }
}

// The active ones first, of either kind the newest; they stay in their order.
void keepSessions(StatusReport& status, std::size_t count) {
  auto& sessions = status.activeSessionsList;
  if (sessions.size() <= count) return;
  status.omittedSessions =
      status.omittedSessions.value_or(0) + static_cast<std::int64_t>(sessions.size() - count);
  const auto working = static_cast<std::size_t>(std::ranges::count_if(sessions, &AgentSession::isWorking));
  std::size_t active = std::min(count, working);
  std::size_t others = count - active;
  std::erase_if(sessions, [&](const AgentSession& session) {
    std::size_t& room = session.isWorking() ? active : others;
    return room == 0 || room-- == 0;
  });
}

// Halves what can be left out; false when nothing is left to leave out.
bool shorten(ControlResponse& response) {
  if (response.status && !response.status->activeSessionsList.empty()) {
    keepSessions(*response.status, response.status->activeSessionsList.size() / 2);
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
  if (response.status) keepSessions(*response.status, mostSessions);
  if (response.usageSessions && response.usageSessions->size() > mostSessions) {
    response.usageSessions->resize(mostSessions);
  }
  for (const std::size_t limit : textLimits) {
    cutTexts(response, limit);
    do {
      std::string line = encodeRecord(response, controlForm) + "\n";
      if (line.size() <= controlMessageLimit) return line;
    } while (shorten(response));
  }
  return controlLine({.exitCode = exitUnavailable, .message = "the answer is too long for a message"});
}

}  // namespace vigilo
