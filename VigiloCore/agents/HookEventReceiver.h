#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "agents/HookEventReceiverDelegate.h"
#include "support/Log.h"
#include "support/Mutex.h"
#include "support/Queue.h"

namespace vigilo {

// The listening end of the hook socket. Each connection carries one event: whatever one read of at most
// `hookEventLimit` bytes returns is the message. It is answered with {"ok":true} or
// {"ok":false,"error":"…"} and a line feed, then the delegate is told, then the connection closes: a slow
// delegate never delays the client. A client that says nothing costs nobody else anything; it is closed after
// one second, or earlier when too many wait.
//
// Thread-safe: start, stop and isRunning may be called from any thread. The queue serves the socket and calls
// the delegate, which is held weakly. The queue must outlive the receiver and must be served while it runs;
// the receiver must not be destroyed on it.
class HookEventReceiver {
 public:
  // "vigilo.sock" in the user's application support folder. Without a home folder there is nothing to do:
  // aborts.
  static const std::string& defaultSocketPath();

  // Touches nothing yet.
  HookEventReceiver(std::string socketPath, Queue& queue, Clock clock);
  ~HookEventReceiver();

  // Before `start`.
  void setDelegate(std::weak_ptr<HookEventReceiverDelegate> delegate) { delegate_ = std::move(delegate); }

  // Makes the folder (0700) and the socket (0600) and listens; replaces what an earlier run left at the path.
  // Nothing happens when it runs already. Throws std::system_error, with the POSIX code of what failed or
  // HookEventError::payloadTooLarge for a path that no socket address holds; it is stopped then, with nothing
  // left open.
  void start();
  // Closes the socket and removes its file, unless somebody else's has taken its place. No delegate call runs
  // or follows once this has returned, except that a delegate which calls it on the queue ends its own call.
  void stop();
  bool isRunning() const;

  struct Answer {
    std::string reply;
    std::optional<HookEvent> event;  // for the delegate
  };
  // What one message means: the receiver without its socket. An event dated more than a minute ahead of now
  // is taken as of now.
  Answer handle(std::string_view bytes) const;

 private:
  struct Listener;

  void serve(Listener& listener, int fd) const;
  void tellUnknownNames(Listener& listener, const HookEvent& event) const;

  const Log log_{"com.vigilo.app", "hooks"};
  const std::string socketPath_;
  Queue& queue_;
  const Clock clock_;
  std::weak_ptr<HookEventReceiverDelegate> delegate_;  // constant while running

  mutable Mutex isRunningLock_;                                           // also held through all of `start`
  std::shared_ptr<Listener> listener_ VIGILO_GUARDED_BY(isRunningLock_);  // while running
};

}  // namespace vigilo
