#pragma once

#include <deque>
#include <list>
#include <optional>

#include "support/SocketWaitingRoom.h"

namespace vigilo {

// Requests that wait to be served. Users take turns, so that however many requests one of them sends,
// everybody else waits for one of those at most; the requests of one user keep their order. Not thread-safe.
class RequestTurns {
 public:
  static constexpr std::size_t mostOfAUser = 64;
  static constexpr std::size_t mostInAll = 512;

  // False, and the connection is closed, where its user, or all together, have as many waiting as may.
  bool add(ReadyConnection connection);
  // Whose turn it is; absent when nobody waits.
  std::optional<ReadyConnection> next();
  bool isEmpty() const { return lines_.empty(); }

 private:
  using Line = std::deque<ReadyConnection>;  // of one user, oldest first; never empty
  std::list<Line> lines_;                    // the one whose turn it is first
  std::size_t count_ = 0;
};

}  // namespace vigilo
