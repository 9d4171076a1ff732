#include "agents/AgentStateCoordinator.h"

#include <algorithm>
#include <unordered_set>

#include "agents/NamelessSession.h"
#include "agents/ProcessSession.h"

namespace vigilo {
namespace {

// A process that a scan saw is less certain than a hook.
constexpr double hookConfidence = 1.0;
constexpr double scanConfidence = 0.6;

const char* hostAppName(AgentType agent) {
  switch (agent) {
    case AgentType::opencode:
    case AgentType::antigravity:
    case AgentType::cursor:
    case AgentType::windsurf:
      return displayName(agent);
    default:
      return "Terminal";
  }
}

AgentState stateOfProcess(bool isWorking) {
  return isWorking ? AgentState::working : AgentState::idle;
}

std::string withPid(const char* what, std::int32_t pid) {
  return std::string(what) + " (PID " + std::to_string(pid) + ")";
}

// Whole seconds for people. An event may claim any date, so the difference need not fit an integer.
long wholeSeconds(double seconds) {
  constexpr double bound = 1e15;
  return static_cast<long>(std::clamp(seconds, -bound, bound));
}

}  // namespace

AgentStateCoordinator::AgentStateCoordinator(Clock clock)
    : clock_(std::move(clock)), table_(std::make_shared<SessionTable>()) {}

void AgentStateCoordinator::setDelegate(std::weak_ptr<AgentStateCoordinatorDelegate> delegate) {
  const LockGuard guard(mutex_);
  delegate_ = std::move(delegate);
}

void AgentStateCoordinator::setStaleSessionTTL(double seconds) {
  const LockGuard guard(mutex_);
  staleSessionTTL_ = seconds;
}

SessionPicture AgentStateCoordinator::picture() {
  Outcome outcome;
  std::vector<Aged> aged;
  Date now;
  {
    const LockGuard guard(mutex_);
    const int activeBefore = activeCount_;
    now = readClock();
    aged = ageSessions(now);
    outcome = finish(activeBefore, now);
  }
  tellOfAged(aged);
  tellOfDebounce(outcome);
  return {std::move(outcome.sessions), outcome.debounceStart, now};
}

SessionSnapshot AgentStateCoordinator::sessions() const {
  const LockGuard guard(mutex_);
  return table_;
}

std::optional<Date> AgentStateCoordinator::lastActiveAgentStoppedAt() const {
  const LockGuard guard(mutex_);
  return lastActiveAgentStoppedAt_;
}

int AgentStateCoordinator::activeWorkingCount() const {
  const LockGuard guard(mutex_);
  return activeCount_;
}

std::optional<std::string> AgentStateCoordinator::sessionOf(const HookEvent& event) const {
  const LockGuard guard(mutex_);
  return vigilo::sessionOf(event, *table_);
}

void AgentStateCoordinator::didReceiveHookEvent(const HookEvent& event) {
  Outcome outcome;
  {
    const LockGuard guard(mutex_);
    const int activeBefore = activeCount_;
    const Date now = readClock();
    for (const auto& id : absorbedBy(event, *table_)) erase(id);
    const auto [entry, isNew] = mutableTable().try_emplace(event.sessionId);
    AgentSession& session = entry->second;
    if (isNew) {
      session.id = event.sessionId;
      session.agentType = event.agent;
      session.startedAt = event.timestamp;
      session.integrationType = defaultIntegration(event.agent);
      session.confidence = hookConfidence;
    }
    setState(session, event.state);
    session.lastEventAt = event.timestamp;
    if (event.pid) session.pid = event.pid;
    if (event.cwd) session.cwd = event.cwd;
    session.lastEventDescription =
        std::string("State: ") + displayLabel(event.state) + " via " + displayName(session.integrationType);
    if (!session.hostAppName) session.hostAppName = hostAppName(session.agentType);
    outcome = finish(activeBefore, now);
  }
  log_.info("Updated session %s: agent=%s state=%s", event.sessionId, rawValue(event.agent),
            rawValue(event.state));
  tell(std::move(outcome));
}

void AgentStateCoordinator::syncProcessSessions(const std::vector<ProcessMatch>& activeMatches) {
  Outcome outcome;
  {
    const LockGuard guard(mutex_);
    const int activeBefore = activeCount_;
    const Date now = readClock();
    removeVanishedProcesses(activeMatches);
    for (const auto& match : activeMatches) applyMatch(match, now);
    outcome = finish(activeBefore, now);
  }
  tell(std::move(outcome));
}

void AgentStateCoordinator::registerProcessSession(AgentType agent, std::int32_t pid, bool isWorking,
                                                   double confidence) {
  Outcome outcome;
  {
    const LockGuard guard(mutex_);
    const int activeBefore = activeCount_;
    const Date now = readClock();
    std::string id = processSessionId(agent, pid);
    const auto known = mutableTable().find(id);
    AgentSession& session = known != table_->end()
                                ? known->second
                                : insertProcessSession(std::move(id), agent, pid, isWorking, confidence, now);
    setState(session, stateOfProcess(isWorking));
    session.lastEventAt = now;
    session.confidence = confidence;
    session.lastEventDescription = withPid("Process active", pid);
    outcome = finish(activeBefore, now);
  }
  tell(std::move(outcome));
}

void AgentStateCoordinator::removeSession(const std::string& id) {
  Outcome outcome;
  {
    const LockGuard guard(mutex_);
    if (table_->contains(id)) erase(id);
    outcome = finish();
  }
  tell(std::move(outcome));
}

void AgentStateCoordinator::sweepStaleSessions(Date now) {
  Outcome outcome;
  std::vector<Aged> aged;
  {
    const LockGuard guard(mutex_);
    const int activeBefore = activeCount_;
    aged = ageSessions(now);
    outcome = finish(activeBefore, readClock());
  }
  tellOfAged(aged);
  tell(std::move(outcome));
}

void AgentStateCoordinator::clearAllSessions() {
  Outcome outcome;
  {
    const LockGuard guard(mutex_);
    table_ = std::make_shared<SessionTable>();
    activeCount_ = 0;
    outcome = finish();
  }
  tell(std::move(outcome));
}

// A clock that reads earlier than before was set back.
Date AgentStateCoordinator::readClock() {
  const Date now = clock_();
  if (lastReading_ && now < *lastReading_) {
    const double seconds = *lastReading_ - now;
    for (auto& [id, session] : mutableTable()) session.lastEventAt = session.lastEventAt - seconds;
    if (lastActiveAgentStoppedAt_) lastActiveAgentStoppedAt_ = *lastActiveAgentStoppedAt_ - seconds;
  }
  lastReading_ = now;
  return now;
}

std::vector<AgentStateCoordinator::Aged> AgentStateCoordinator::ageSessions(Date now) {
  std::vector<Aged> aged;
  for (const auto& [id, session] : *table_) {
    const double age = now - session.lastEventAt;
    if (session.state != AgentState::stale && age > staleSessionTTL_) aged.push_back({id, age});
  }
  for (const Aged& each : aged) setState(mutableTable().at(each.id), AgentState::stale);
  return aged;
}

SessionTable& AgentStateCoordinator::mutableTable() {
  if (table_.use_count() > 1) {
    table_ = std::make_shared<SessionTable>(*table_);
  } else {
    // use_count() alone does not order this thread after the last reads of a holder that has just let go;
    // taking and dropping a share of our own does.
    std::shared_ptr<SessionTable>(table_).reset();
  }
  return *table_;
}

void AgentStateCoordinator::setState(AgentSession& session, AgentState state) {
  activeCount_ += int{isActivelyWorking(state)} - int{session.isWorking()};
  session.state = state;
}

void AgentStateCoordinator::erase(const std::string& id) {
  SessionTable& table = mutableTable();
  const auto entry = table.find(id);
  activeCount_ -= int{entry->second.isWorking()};
  table.erase(entry);
}

AgentSession& AgentStateCoordinator::insertProcessSession(std::string id, AgentType agent, std::int32_t pid,
                                                          bool isWorking, double confidence, Date now) {
  AgentSession& session = mutableTable()[id];
  session.id = std::move(id);
  session.agentType = agent;
  setState(session, stateOfProcess(isWorking));
  session.startedAt = now;
  session.lastEventAt = now;
  session.pid = pid;
  session.hostAppName = hostAppName(agent);
  session.integrationType = IntegrationType::process;
  session.confidence = confidence;
  return session;
}

void AgentStateCoordinator::removeVanishedProcesses(const std::vector<ProcessMatch>& activeMatches) {
  std::unordered_set<std::int32_t> living;
  for (const auto& match : activeMatches) living.insert(match.pid);
  std::vector<std::string> vanished;
  for (const auto& [id, session] : *table_) {
    const bool isProcess = session.integrationType == IntegrationType::process && session.pid;
    if (isProcess && !living.contains(*session.pid)) vanished.push_back(id);
  }
  for (const auto& id : vanished) erase(id);
}

void AgentStateCoordinator::applyMatch(const ProcessMatch& match, Date now) {
  std::string id = processSessionId(match.agent, match.pid);
  const AgentState state = stateOfProcess(match.isWorking);
  const auto known = table_->find(id);
  if (known == table_->end()) {
    insertProcessSession(std::move(id), match.agent, match.pid, match.isWorking, scanConfidence, now)
        .lastEventDescription = withPid(match.isWorking ? "CLI task running" : "Process detected", match.pid);
  } else if (match.isWorking || known->second.state != state) {
    // An idle process that stays idle is left alone: it ages towards the stale limit.
    AgentSession& session = mutableTable().at(id);
    setState(session, state);
    session.lastEventAt = now;
  }
}

AgentStateCoordinator::Outcome AgentStateCoordinator::finish() {
  return {table_, lastActiveAgentStoppedAt_, false, delegate_.lock()};
}

AgentStateCoordinator::Outcome AgentStateCoordinator::finish(int activeBefore, Date now) {
  const bool began = activeCount_ == 0 && activeBefore > 0;
  if (activeCount_ > 0) lastActiveAgentStoppedAt_.reset();
  if (began) lastActiveAgentStoppedAt_ = now;
  Outcome outcome = finish();
  outcome.debounceBegan = began;
  return outcome;
}

void AgentStateCoordinator::tellOfAged(const std::vector<Aged>& aged) const {
  for (const Aged& each : aged) {
    log_.error("Session %s is stale (%lds old). Marking stale.", each.id, wholeSeconds(each.seconds));
  }
}

void AgentStateCoordinator::tellOfDebounce(const Outcome& outcome) const {
  if (!outcome.debounceBegan) return;
  log_.info("All active agent sessions stopped. Debounce timer started at %s",
            outcome.debounceStart->description());
}

void AgentStateCoordinator::tell(Outcome outcome) const {
  tellOfDebounce(outcome);
  if (outcome.delegate) {
    outcome.delegate->coordinatorDidUpdateSessions(std::move(outcome.sessions), outcome.debounceStart);
  }
}

}  // namespace vigilo
