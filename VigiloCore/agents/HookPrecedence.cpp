#include "agents/HookPrecedence.h"

#include <algorithm>
#include <functional>

#include "agents/ProcessSession.h"

namespace vigilo {
namespace {

bool hasActiveHookSession(const SessionTable& sessions, AgentType agent) {
  return std::any_of(sessions.begin(), sessions.end(), [agent](const auto& entry) {
    const AgentSession& session = entry.second;
    return session.agentType == agent && session.isWorking() && !isProcessSession(session);
  });
}

std::size_t hashOf(const std::string& id) {
  return std::hash<std::string>()(id);
}

}  // namespace

void HookPrecedence::note(const HookEvent& event) {
  const LockGuard guard(mutex_);
  if (isActivelyWorking(event.state)) wasActive_[static_cast<std::size_t>(event.agent)] = true;
  // An agent that names its sessions reports nothing without a name any more.
  working_.erase(hashOf(namelessSessionId(event.agent, std::nullopt)));
  if (event.pid) working_.erase(hashOf(namelessSessionId(event.agent, event.pid)));
  const std::size_t session = hashOf(event.sessionId);
  if (event.state != AgentState::working) {
    working_.erase(session);
    return;
  }
  working_[session] = {event.agent, event.timestamp};
  if (working_.size() <= mostReports) return;
  working_.erase(std::min_element(working_.begin(), working_.end(),
                                  [](const auto& a, const auto& b) { return a.second.at < b.second.at; }));
}

bool HookPrecedence::wasActive(AgentType agent) const {
  return wasActive_[static_cast<std::size_t>(agent)];
}

bool HookPrecedence::runsSilentTool(AgentType agent, const std::vector<ProcessMatch>& matches,
                                    Date now) const {
  return std::any_of(working_.begin(), working_.end(), [&](const auto& entry) {
    const Report& report = entry.second;
    if (report.agent != agent || now - report.at > silentToolLimitSeconds) return false;
    return std::any_of(matches.begin(), matches.end(), [&](const ProcessMatch& match) {
      return match.agent == agent && match.startedAt && *match.startedAt < report.at &&
             match.youngestChildStartedAt && *match.youngestChildStartedAt > report.at;
    });
  });
}

void HookPrecedence::apply(std::vector<ProcessMatch>& matches, const SessionTable& sessions, Date now) const {
  const LockGuard guard(mutex_);
  std::array<std::optional<bool>, RawValues<AgentType>::table.size()> verdicts;
  for (ProcessMatch& match : matches) {
    if (!wasActive(match.agent)) continue;
    auto& verdict = verdicts[static_cast<std::size_t>(match.agent)];
    if (!verdict) {
      verdict = hasActiveHookSession(sessions, match.agent) || runsSilentTool(match.agent, matches, now);
    }
    match.isWorking = *verdict;
  }
}

}  // namespace vigilo
