#pragma once

#include <array>
#include <cstddef>
#include <unordered_map>
#include <vector>

#include "agents/HookEvent.h"
#include "agents/ProcessMatch.h"
#include "agents/SessionTable.h"
#include "support/Mutex.h"

namespace vigilo {

// Hooks know better than a look at the processes: an agent at its prompt has the same command line as one at
// work. Once a hook session of an agent type has reported working or waiting, all processes of that type are
// working exactly when one of its hook sessions is active in the session table, or when a tool call goes on
// that is silent for longer than sessions stay fresh:
//
//   - a hook session's last report was "working", at most six hours ago, and
//   - a process of the type has lived since before that report and has a child that began after it.
//
// A type that was heard only as idle, or never, is left as the scan saw it.
//
// What a session reported last is kept here, since the table's sweep overwrites the states. Any thread may
// call; the lock guards the memory, which is bounded: of more than `mostReports` sessions at work, those that
// reported last count.
class HookPrecedence {
 public:
  static constexpr double silentToolLimitSeconds = 6 * 3600;
  static constexpr std::size_t mostReports = 1000;

  // Takes note of one event, in the order of their arrival.
  void note(const HookEvent& event);
  // Corrects what a scan found.
  void apply(std::vector<ProcessMatch>& matches, const SessionTable& sessions, Date now) const;

 private:
  struct Report {
    AgentType agent{};
    Date at;
  };

  bool wasActive(AgentType agent) const VIGILO_REQUIRES(mutex_);
  bool runsSilentTool(AgentType agent, const std::vector<ProcessMatch>& matches, Date now) const
      VIGILO_REQUIRES(mutex_);

  mutable Mutex mutex_;
  std::array<bool, RawValues<AgentType>::table.size()> wasActive_ VIGILO_GUARDED_BY(mutex_){};
  // The last report of each session whose last report was "working", by the hash of its id: an id may be as
  // long as an event.
  std::unordered_map<std::size_t, Report> working_ VIGILO_GUARDED_BY(mutex_);
};

}  // namespace vigilo
