#pragma once

#include <memory>
#include <optional>
#include <string>

#include "helper/DeepHoldLeaseStore.h"
#include "helper/HelperRequestHandler.h"
#include "helper/RequestTurns.h"
#include "platform/ServiceManager.h"
#include "platform/SystemPowerControlling.h"
#include "support/AsioQueue.h"
#include "support/SocketWaitingRoom.h"

namespace vigilo {

// The root daemon: a thin socket shell around HelperRequestHandler, with the watchdog that ends a lease which
// nobody renews.
//
// The main thread accepts, and does nothing else. Everything that follows happens on one serial queue: an
// accepted connection waits in the queue's poller for its first byte, without a time-out, and then for its
// user's turn; then come one read, the request, one write and the end of the connection. A watchdog tick or a
// request runs at a time.
//
// The daemon lives as long as its process: once it listens it is never destroyed. The state file lies beside
// the socket. A signal ends the process with the record left as it is: the next start takes the hold over.
//
// The hold that the service manager kept of an earlier process bridges the time until this one's is in force.
//
// The service manager hears when the daemon accepts, that its queue makes progress (each tick and each
// request says so), and when it is about to end.
class HelperDaemon {
 public:
  // Below the home folder: where the daemon listens when it does not run as root.
  static const std::string& fallbackSocketPath();

  // Without a path: the system's as root, else the fallback. `mainQueue` is the process's main queue, which
  // receives the end of the process that an uninstall asks for. Reads the state file.
  explicit HelperDaemon(Queue& mainQueue, std::optional<std::string> socketPath = std::nullopt);

  // Listens, starts the watchdog and accepts on the calling thread for as long as the process lives. When
  // another helper serves the socket, or setting up fails, says so in the log and returns the exit status 1.
  int start();

 private:
  bool isServedByAnother() const;
  bool listen();
  bool bindSocket(int fd) const;
  void takeUpInheritedHold();
  void dropKeptHoldWhenReplaced();
  void watch();
  void endOnSignal(int signal);
  void acceptNext();
  void enqueue(ReadyConnection connection);
  void serveNext();
  void serve(const ReadyConnection& connection);
  void scheduleUninstall();

  Queue& mainQueue_;
  const std::string socketPath_;
  const std::unique_ptr<ServiceManager> serviceManager_;
  UniqueFd keptHold_ = serviceManager_->takeKeptHold();  // on queue_, once that has work
  const std::unique_ptr<SystemPowerControlling> powerController_;
  DeepHoldLeaseStore leaseStore_;
  HelperRequestHandler handler_;  // on queue_
  UniqueFd serverFd_;
  bool isRunning_ = false;             // the accept loop's
  bool isUninstallScheduled_ = false;  // on queue_
  std::unique_ptr<AsioQueue> queue_;
  RequestTurns turns_;  // on queue_
  SocketWaitingRoom waitingRoom_;
  CancelToken watchdogTimer_;
};

}  // namespace vigilo
