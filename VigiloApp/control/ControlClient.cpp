#include "VigiloApp/control/ControlClient.h"

#include <cerrno>

#include "support/RecordCoder.h"
#include "support/UnixSocket.h"

namespace vigilo {
namespace {

using std::chrono::milliseconds;

int count(milliseconds time) {
  return static_cast<int>(time.count());
}

UniqueFd connectTo(const std::string& path, milliseconds answerLimit) {
  UniqueFd fd = makeUnixSocket();
  const auto address = unixSocketAddress(path);
  if (!fd || !address) return {};
  setSocketTimeouts(fd.get(), count(answerLimit));
  if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) return {};
  return fd;
}

bool sendRequest(int fd, const ControlRequest& request) {
  const std::string line = encodeRecord(request, controlForm) + "\n";
  return sendOnce(fd, line) == static_cast<ssize_t>(line.size());
}

// Reads lines off a socket, keeping what came behind the last one.
class LineReader {
 public:
  explicit LineReader(int fd) : fd_(fd) {}
  std::optional<std::string> next() {
    for (;;) {
      const auto end = buffer_.find('\n');
      if (end != std::string::npos) {
        std::string line = buffer_.substr(0, end);
        buffer_.erase(0, end + 1);
        return line;
      }
      if (buffer_.size() > controlMessageLimit) return std::nullopt;
      char block[8192];
      const ssize_t count = ::recv(fd_, block, sizeof block, 0);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return std::nullopt;
      buffer_.append(block, static_cast<std::size_t>(count));
    }
  }

 private:
  const int fd_;
  std::string buffer_;
};

}  // namespace

ControlResponse understood(const std::optional<std::string>& line) {
  ControlResponse failure;
  failure.exitCode = exitUnavailable;
  failure.message = "The running host does not answer. If it hangs, end it and start it again.";
  if (!line) return failure;
  auto response = decodeRecord<ControlResponse>(*line, controlForm);
  if (response) return *std::move(response);
  failure.message = "The running host's answer cannot be read (" + response.error().description +
                    "): it may be another version of Vigilo. Restart it.";
  return failure;
}

std::optional<ControlResponse> ControlClient::request(const ControlRequest& request) const {
  const UniqueFd fd = connectTo(socketPath_, answerLimit_);
  if (!fd) return std::nullopt;
  if (!sendRequest(fd.get(), request)) return understood(std::nullopt);
  return understood(LineReader(fd.get()).next());
}

bool ControlClient::follow(const std::function<bool(const ControlResponse&)>& line,
                           std::optional<milliseconds> time) const {
  const auto begin = std::chrono::steady_clock::now();
  const UniqueFd fd = connectTo(socketPath_, answerLimit_);
  if (!fd) return false;
  ControlRequest request;
  request.command = ControlCommand::follow;
  if (!sendRequest(fd.get(), request)) return line(understood(std::nullopt));
  LineReader reader(fd.get());
  auto next = reader.next();
  if (!next) return line(understood(next)), true;
  setSocketTimeouts(fd.get(), 0);
  for (; next; next = reader.next()) {
    if (!line(understood(next))) break;
    if (!time) continue;
    const auto left =
        *time - std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
    if (left <= milliseconds::zero()) break;
    setSocketTimeouts(fd.get(), count(left));
  }
  return true;
}

}  // namespace vigilo
