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
    const std::string place = session.cwd ? " in " + *session.cwd : "";
    const std::string name = displayName(session.agentType);
    now[session.id] = {name + place, session.state};
    const auto before = known_.find(session.id);
    if (before != known_.end() && before->second.state == session.state) continue;
    news.push_back(name + " " + verb(session.state) + place);
  }
  for (const auto& [id, session] : known_) {
    // One that has ended or fallen silent was told of then.
    const bool wasOver = session.state == AgentState::completed || session.state == AgentState::stale;
    if (!now.contains(id) && !wasOver) news.push_back(session.name + " has gone");
  }
  known_ = std::move(now);
  return news;
}

}  // namespace vigilo
