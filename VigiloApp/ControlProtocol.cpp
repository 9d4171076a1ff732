#include "VigiloApp/ControlProtocol.h"

#include "policy/WakeDecisionCoding.h"

namespace vigilo {

VIGILO_RECORD_CODING(SettingsReport);
VIGILO_RECORD_CODING(StatusReport);
VIGILO_RECORD_CODING(ControlRequest);
VIGILO_RECORD_CODING(ControlResponse);

namespace {

// A session's line is a few hundred bytes; no more than this can ever fit.
constexpr std::size_t mostSessions = 400;

void keepNewest(StatusReport& status, std::size_t count) {
  const std::size_t have = status.activeSessionsList.size();
  if (have <= count) return;
  status.omittedSessions = status.omittedSessions.value_or(0) + static_cast<std::int64_t>(have - count);
  status.activeSessionsList.resize(count);
}

}  // namespace

std::string controlLine(ControlResponse response) {
  constexpr CoderOptions form{DateCoding::iso8601, true, false};
  if (response.status) keepNewest(*response.status, mostSessions);
  std::string line = encodeRecord(response, form) + "\n";
  while (line.size() > controlMessageLimit && response.status &&
         !response.status->activeSessionsList.empty()) {
    keepNewest(*response.status, response.status->activeSessionsList.size() / 2);
    line = encodeRecord(response, form) + "\n";
  }
  return line;
}

}  // namespace vigilo
