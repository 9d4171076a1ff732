#include "agents/NamelessSession.h"

#include "agents/ProcessSession.h"

namespace vigilo {
namespace {

bool isNameless(const std::string& id, AgentType agent, std::optional<std::int32_t> pid) {
  return id == namelessSessionId(agent, std::nullopt) || (pid && id == namelessSessionId(agent, pid));
}

bool isNameless(const HookEvent& event) {
  return isNameless(event.sessionId, event.agent, event.pid);
}

template <class T>
bool mayBeSame(const std::optional<T>& a, const std::optional<T>& b) {
  return !a || !b || *a == *b;
}

bool fits(const AgentSession& session, const HookEvent& event) {
  return mayBeSame(session.cwd, event.cwd) && mayBeSame(session.pid, event.pid);
}

bool livesInHooksOf(const AgentSession& session, AgentType agent) {
  return session.agentType == agent && session.state != AgentState::stale && !isProcessSession(session);
}

}  // namespace

std::optional<std::string> sessionOf(const HookEvent& event, const SessionTable& sessions) {
  if (event.agent == AgentType::custom || !isNameless(event)) return event.sessionId;
  bool hasNames = false;
  std::vector<const AgentSession*> fitting;
  for (const auto& [id, session] : sessions) {
    if (!livesInHooksOf(session, event.agent)) continue;
    hasNames = hasNames || !isNameless(id, session.agentType, session.pid);
    if (fits(session, event)) fitting.push_back(&session);
  }
  if (!hasNames) return event.sessionId;
  return fitting.size() == 1 ? std::optional(fitting.front()->id) : std::nullopt;
}

std::vector<std::string> absorbedBy(const HookEvent& event, const SessionTable& sessions) {
  std::vector<std::string> absorbed;
  if (event.agent == AgentType::custom || isNameless(event)) return absorbed;
  const auto absorb = [&](std::optional<std::int32_t> pid) {
    const auto session = sessions.find(namelessSessionId(event.agent, pid));
    if (session != sessions.end() && fits(session->second, event)) absorbed.push_back(session->first);
  };
  absorb(std::nullopt);
  if (event.pid) absorb(event.pid);
  return absorbed;
}

}  // namespace vigilo
