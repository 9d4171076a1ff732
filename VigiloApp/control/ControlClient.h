#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "VigiloApp/control/ControlProtocol.h"

namespace vigilo {

// The response that a line from the host holds; of no line, or one that cannot be read, a response with
// exitUnavailable and a message.
ControlResponse understood(const std::optional<std::string>& line);

// A command's end of the control socket. Blocks; not thread-safe.
class ControlClient {
 public:
  explicit ControlClient(std::string socketPath,
                         std::chrono::milliseconds answerLimit = std::chrono::seconds(5))
      : socketPath_(std::move(socketPath)), answerLimit_(answerLimit) {}

  // The host's answer; absent when no host listens. A host that does not answer in time, or says something
  // that cannot be read, yields a response with exitUnavailable and a message.
  std::optional<ControlResponse> request(const ControlRequest& request) const;

  // Calls `line` for each response of a following request until it returns false, the host ends or the time,
  // if any is given, is over. False when no host listens.
  bool follow(const std::function<bool(const ControlResponse&)>& line,
              std::optional<std::chrono::milliseconds> time = std::nullopt) const;

 private:
  const std::string socketPath_;
  const std::chrono::milliseconds answerLimit_;
};

}  // namespace vigilo
