#include "VigiloApp/host/SessionNews.h"

#include <utility>

namespace vigilo {
namespace {

const char* verb(AgentState state) {
  switch (state) {
    case AgentState::working:
      return "is working";
    case AgentState::waiting:
      return "waits for you";
    case AgentState::completed:
      return "has completed";
    case AgentState::error:
      return "reports an error";
    case AgentState::stale:
      return "has fallen silent";
    case AgentState::idle:
    case AgentState::unknown:
      break;
  }
  return "is idle";
}

}  // namespace

std::vector<std::string> SessionNews::since(const std::vector<AgentSession>& sessions) {
  std::vector<std::string> news;
  std::map<std::string, Known> now;
  for (const AgentSession& session : sessions) {
    now[session.id] = {session.agentType, session.state};
    const auto before = known_.find(session.id);
    if (before != known_.end() && before->second.state == session.state) continue;
    news.push_back(std::string(displayName(session.agentType)) + " " + verb(session.state) +
                   (session.cwd ? " in " + *session.cwd : "") + ", session " + session.id);
  }
  for (const auto& [id, session] : known_) {
    if (!now.contains(id))
      news.push_back(std::string(displayName(session.agent)) + " has gone, session " + id);
  }
  known_ = std::move(now);
  return news;
}

}  // namespace vigilo
