#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agents/AgentStateCoordinatorDelegate.h"
#include "agents/HookEventReceiverDelegate.h"
#include "agents/ProcessMatch.h"
#include "agents/SessionTable.h"
#include "support/Log.h"
#include "support/Mutex.h"

namespace vigilo {

// What an evaluation goes by: the sessions and the debounce start at one moment, by one reading of the clock.
struct SessionPicture {
  SessionSnapshot sessions;
  std::optional<Date> lastActiveAgentStoppedAt;
  Date now;
};

// Holds the one table of known sessions. Hook events and process scans feed it; a session that has not been
// heard of for `staleSessionTTL` seconds becomes stale and stays so until the next event or scan revives it.
//
// Debounce start: the moment when the last active session stopped; absent while any is active. It is only
// recorded here: the policy decides how long to wait from it.
//
// A clock that was set back is noticed by whatever looks at the table next, before it does anything else:
// what was last heard until then, and the debounce start, move along, so that neither a session nor the
// debounce lasts longer for it.
//
// A hook event costs the same however many sessions there are, as long as nobody holds a snapshot. Never
// fails. Thread-safe: one lock guards the table; the delegate is held weakly and called with no lock held, so
// it may call back.
class AgentStateCoordinator final : public HookEventReceiverDelegate {
 public:
  explicit AgentStateCoordinator(Clock clock);

  void setDelegate(std::weak_ptr<AgentStateCoordinatorDelegate> delegate);
  void setStaleSessionTTL(double seconds);

  // The table as it is now, with everything in it aged: a session goes stale for whoever looks first, once.
  // The delegate is not told.
  SessionPicture picture();
  SessionSnapshot sessions() const;
  std::optional<Date> lastActiveAgentStoppedAt() const;
  // How many sessions are working or waiting.
  int activeWorkingCount() const;
  // The session that an event belongs to (agents/NamelessSession.h). Looks at all sessions where the event
  // came without an id.
  std::optional<std::string> sessionOf(const HookEvent& event) const;

  // Each of these tells the delegate once, whether or not it found anything to change. An event with an id
  // ends the sessions without one that it absorbs.
  void didReceiveHookEvent(const HookEvent& event) override;
  // Applies one complete scan: sessions of processes that are gone leave the table, new ones enter with a
  // confidence of 0.6. Sessions that are known otherwise than by their process stay.
  void syncProcessSessions(const std::vector<ProcessMatch>& activeMatches);
  // Creates or refreshes one process session.
  void registerProcessSession(AgentType agent, std::int32_t pid, bool isWorking, double confidence);
  // Leaves the debounce start alone, as does `clearAllSessions`.
  void removeSession(const std::string& id);
  void sweepStaleSessions(Date now);
  void clearAllSessions();

 private:
  // What the end of an operation has to tell, once the lock is released.
  struct Outcome {
    SessionSnapshot sessions;
    std::optional<Date> debounceStart;
    bool debounceBegan = false;
    std::shared_ptr<AgentStateCoordinatorDelegate> delegate;
  };

  // A session that has just gone stale, and how old it was then.
  struct Aged {
    std::string id;
    double seconds = 0;
  };

  Date readClock() VIGILO_REQUIRES(mutex_);
  std::vector<Aged> ageSessions(Date now) VIGILO_REQUIRES(mutex_);
  void tellOfAged(const std::vector<Aged>& aged) const;
  SessionTable& mutableTable() VIGILO_REQUIRES(mutex_);
  void setState(AgentSession& session, AgentState state) VIGILO_REQUIRES(mutex_);
  void erase(const std::string& id) VIGILO_REQUIRES(mutex_);
  AgentSession& insertProcessSession(std::string id, AgentType agent, std::int32_t pid, bool isWorking,
                                     double confidence, Date now) VIGILO_REQUIRES(mutex_);
  void removeVanishedProcesses(const std::vector<ProcessMatch>& activeMatches) VIGILO_REQUIRES(mutex_);
  void applyMatch(const ProcessMatch& match, Date now) VIGILO_REQUIRES(mutex_);
  Outcome finish() VIGILO_REQUIRES(mutex_);
  Outcome finish(int activeBefore, Date now) VIGILO_REQUIRES(mutex_);
  void tellOfDebounce(const Outcome& outcome) const;
  void tell(Outcome outcome) const;

  const Log log_{"com.vigilo.app", "agents"};
  const Clock clock_;

  mutable Mutex mutex_;
  // Copied before a change while a snapshot of it is out.
  std::shared_ptr<SessionTable> table_ VIGILO_GUARDED_BY(mutex_);
  // Active sessions in the table, counted along so that no event has to look at all of them.
  int activeCount_ VIGILO_GUARDED_BY(mutex_) = 0;
  std::optional<Date> lastActiveAgentStoppedAt_ VIGILO_GUARDED_BY(mutex_);
  std::optional<Date> lastReading_ VIGILO_GUARDED_BY(mutex_);  // of the clock
  double staleSessionTTL_ VIGILO_GUARDED_BY(mutex_) = 900;
  std::weak_ptr<AgentStateCoordinatorDelegate> delegate_ VIGILO_GUARDED_BY(mutex_);
};

}  // namespace vigilo
