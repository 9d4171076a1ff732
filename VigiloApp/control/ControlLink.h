#pragma once

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "VigiloApp/control/ControlProtocol.h"
#include "support/Queue.h"

namespace vigilo {

// A command's end of the control socket that never waits: for a program that goes on drawing meanwhile. Lives
// on one queue: built, called and destroyed there, and every callback comes there, never from within the call
// that it belongs to. After its destruction none follows.
class ControlLink {
 public:
  using Answer = std::function<void(std::optional<ControlResponse>)>;

  ControlLink(Queue& queue, std::string socketPath);
  ~ControlLink();

  // Calls `answer` once: with the host's response; without one where no host listens; with a response of
  // exitUnavailable and a message where it does not answer within five seconds or cannot be understood.
  void ask(const ControlRequest& request, Answer answer);

  // Calls `line` for each status that the host sends from now on, and `ended` once when the host has gone, or
  // was not there. An earlier following ends without a call.
  void follow(std::function<void(const ControlResponse&)> line, std::function<void()> ended);

 private:
  class Connection;
  std::shared_ptr<Connection> open(const ControlRequest& request);
  void close(const std::shared_ptr<Connection>& connection);
  void later(std::function<void()> task);

  Queue& queue_;
  const std::string socketPath_;
  std::list<std::shared_ptr<Connection>> asking_;
  std::shared_ptr<Connection> following_;
  // Null once destroyed.
  const std::shared_ptr<ControlLink*> self_;
};

}  // namespace vigilo
