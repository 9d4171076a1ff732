#pragma once

#include <string>
#include <vector>

#include "agents/AgentModel.h"

namespace vigilo {

// How many sessions there are, by what they do. Where an agent's own hooks reported sessions, its processes
// are theirs and no sessions of their own. A plain value.
struct SessionCounts {
  int active = 0;  // working or waiting
  int idle = 0;    // at rest, or nothing is known
  int failed = 0;
  int ended = 0;
  int silent = 0;     // nothing was heard of them for too long
  int processes = 0;  // that belong to sessions counted above

  int all() const { return active + idle + failed + ended + silent; }
  // "2 active, 1 idle, 3 ended (1 process)"; "none" without any.
  std::string text() const;
};

SessionCounts countSessions(const std::vector<AgentSession>& sessions);

// Whether nobody waits for news of the session any more: it has ended or fallen silent. Such sessions are
// counted, and not listed one by one.
bool isOver(const AgentSession& session);

}  // namespace vigilo
