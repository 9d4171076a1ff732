#include "VigiloApp/commands/SessionCounts.h"

#include <set>

#include "agents/ProcessSession.h"

namespace vigilo {
namespace {

int& countOf(SessionCounts& counts, AgentState state) {
  switch (state) {
    case AgentState::working:
    case AgentState::waiting:
      return counts.active;
    case AgentState::error:
      return counts.failed;
    case AgentState::completed:
      return counts.ended;
    case AgentState::stale:
      return counts.silent;
    case AgentState::idle:
    case AgentState::unknown:
      break;
  }
  return counts.idle;
}

}  // namespace

SessionCounts countSessions(const std::vector<AgentSession>& sessions) {
  std::set<AgentType> reported;
  for (const AgentSession& session : sessions)
    if (!isProcessSession(session)) reported.insert(session.agentType);
  SessionCounts counts;
  for (const AgentSession& session : sessions) {
    if (isProcessSession(session) && reported.contains(session.agentType))
      ++counts.processes;
    else
      ++countOf(counts, session.state);
  }
  return counts;
}

std::string SessionCounts::text() const {
  std::string text;
  const auto add = [&text](int count, const char* what) {
    if (count > 0) text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + what;
  };
  add(active, "active");
  add(idle, "idle");
  add(failed, "with an error");
  add(ended, "ended");
  add(silent, "silent");
  if (text.empty()) text = "none";
  if (processes > 0)
    text += " (" + std::to_string(processes) + (processes == 1 ? " process)" : " processes)");
  return text;
}

bool isOver(const AgentSession& session) {
  return session.state == AgentState::completed || session.state == AgentState::stale;
}

}  // namespace vigilo
