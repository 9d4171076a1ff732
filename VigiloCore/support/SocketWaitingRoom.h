#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <optional>

#include "support/Queue.h"
#include "support/UnixSocket.h"

namespace vigilo {

// A connection whose first bytes have arrived, and who is at its other end.
struct ReadyConnection {
  UniqueFd fd;  // non-blocking
  std::optional<uid_t> user;
};

// Accepted connections that have not said anything yet. They wait in the queue's poller, so that a silent
// client costs nobody but itself; one whose first byte has come, or that has closed, is handed to the
// handler, one at a time in the order of readability. Lives on one queue: every member is called there, and
// the handler is.
class SocketWaitingRoom {
 public:
  struct Limits {
    std::size_t perUser = 16;         // the oldest of a user's beyond this is closed
    std::size_t inAll = 256;          // the oldest of all beyond this is closed
    std::optional<Duration> silence;  // closed when nothing has come within this time
  };
  using Handler = std::function<void(ReadyConnection)>;

  SocketWaitingRoom(Queue& queue, Limits limits, Handler handler);
  ~SocketWaitingRoom();

  // Serves the connection at once where bytes are there already, otherwise lets it wait. Takes blocking
  // descriptors too and makes them non-blocking.
  void admit(UniqueFd fd);
  // The same for what one accept loop brought in: gives each a second look before it waits, as its bytes are
  // usually only microseconds behind its connection.
  void admit(std::list<UniqueFd> batch);

  std::size_t waiting() const { return entries_.size(); }

 private:
  struct Entry {
    UniqueFd fd;
    std::optional<uid_t> user;
    std::chrono::steady_clock::time_point since;
    CancelToken source;
  };
  using Entries = std::list<Entry>;

  bool serveIfReady(UniqueFd& fd);
  void enter(UniqueFd fd);
  void serve(Entries::iterator entry);
  void evict(Entries::iterator entry);
  void armSilenceTimer();

  Queue& queue_;
  const Limits limits_;
  const Handler handler_;
  Entries entries_;  // oldest first
  CancelToken silenceTimer_;
};

}  // namespace vigilo
