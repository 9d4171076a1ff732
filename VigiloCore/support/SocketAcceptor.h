#pragma once

#include "support/Queue.h"
#include "support/SocketWaitingRoom.h"

namespace vigilo {

// Accepts on a listening socket and lets each connection wait for its first byte (SocketWaitingRoom). A
// failing accept, for want of descriptors say, pauses for 100 ms: it neither spins nor gives up. Owns the
// descriptor. Lives on one queue: built, destroyed and called back there.
class SocketAcceptor {
 public:
  // `listening` is non-blocking.
  SocketAcceptor(Queue& queue, UniqueFd listening, SocketWaitingRoom::Limits limits,
                 SocketWaitingRoom::Handler handler);
  ~SocketAcceptor();

 private:
  void watch();
  void acceptWaiting();

  Queue& queue_;
  const UniqueFd listening_;
  SocketWaitingRoom waitingRoom_;
  CancelToken source_;
  CancelToken pause_;
};

}  // namespace vigilo
