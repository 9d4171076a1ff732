#pragma once

#include <functional>
#include <string>

namespace vigilo {

// The way to the helper daemon: request bytes in, reply bytes out, possibly later. The one seam between the
// deep sleep controller and the helper's socket, so that the two can be joined directly in virtual time.
class HelperTransport {
 public:
  enum class Outcome {
    answered,  // `reply` holds what one read returned
    refused,   // nobody listens at the path
    failed,    // anything else: no answer in time, no descriptor left
  };
  using Completion = std::function<void(Outcome outcome, std::string reply)>;

  virtual ~HelperTransport() = default;
  // Whether a file stands at the path.
  virtual bool exists(const std::string& path) = 0;
  // Sends one request. Called on the controller's queue; calls `done` exactly once on that queue, at once or
  // later.
  virtual void exchange(const std::string& path, const std::string& request, Completion done) = 0;
};

// Over the helper's socket, blocking its queue: one second at most for the write and one for the answer.
class SocketHelperTransport final : public HelperTransport {
 public:
  bool exists(const std::string& path) override;
  void exchange(const std::string& path, const std::string& request, Completion done) override;
};

}  // namespace vigilo
