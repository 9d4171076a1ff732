#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "VigiloApp/control/ControlProtocol.h"
#include "support/Log.h"
#include "support/Queue.h"
#include "support/SocketAcceptor.h"

namespace vigilo {

// The host's end of the control socket. A connection sends one request line within a second and gets one
// response line; a follower then gets a line each time the status changes. Owns the socket file. Lives on one
// queue: built, destroyed and called there, and the handler is called there.
class ControlServer {
 public:
  using Respond = std::function<void(ControlResponse)>;
  // Answers a request by calling `respond` once, from any thread, at once or later.
  using Handler = std::function<void(const ControlRequest& request, Respond respond)>;

  ControlServer(Queue& queue, std::string socketPath, Handler handler);
  ~ControlServer();

  // Makes the socket, owner only. Throws std::system_error.
  void start();
  // Sends the status to every follower.
  void publish(const StatusReport& status);
  // From any thread.
  bool hasFollowers() const { return followerCount_ > 0; }

 private:
  class Connection;
  using Connections = std::list<std::shared_ptr<Connection>>;

  void begin(ReadyConnection ready);
  void dispatch(const std::shared_ptr<Connection>& connection, const std::string& line);
  void answer(const std::shared_ptr<Connection>& connection, bool follows, ControlResponse response);
  void flushFollowers();

  Queue& queue_;
  const std::string socketPath_;
  const Handler handler_;
  const Log log_{"com.vigilo.app", "control"};
  std::unique_ptr<SocketAcceptor> acceptor_;
  Connections reading_;  // whose request is not complete yet
  Connections followers_;
  std::atomic<std::size_t> followerCount_{0};
  CancelToken flushTimer_;  // while a follower has something unread
  // Null once destroyed: answers that come later look here first.
  const std::shared_ptr<ControlServer*> self_;
};

}  // namespace vigilo
