#include "VigiloApp/control/ControlLink.h"

#include <fcntl.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "VigiloApp/control/ControlClient.h"
#include "support/RecordCoder.h"
#include "support/UnixSocket.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr auto answerLimit = 5s;

}  // namespace

// One socket, what has come in, and who waits for it.
class ControlLink::Connection {
 public:
  explicit Connection(UniqueFd socket) : fd(std::move(socket)) {}

  // Reads what is there. False when nothing more will come.
  bool read() {
    char block[16384];
    while (buffer.size() <= controlMessageLimit) {
      const ssize_t count = ::recv(fd.get(), block, sizeof block, MSG_DONTWAIT);
      if (count > 0) {
        buffer.append(block, static_cast<std::size_t>(count));
        continue;
      }
      if (count < 0 && errno == EINTR) continue;
      return count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    }
    return buffer.find('\n') != std::string::npos;
  }
  std::optional<std::string> nextLine() {
    const auto end = buffer.find('\n');
    if (end == std::string::npos) return std::nullopt;
    std::string line = buffer.substr(0, end);
    buffer.erase(0, end + 1);
    return line;
  }

  const UniqueFd fd;
  std::string buffer;
  CancelToken source;
  CancelToken deadline;
};

ControlLink::ControlLink(Queue& queue, std::string socketPath)
    : queue_(queue), socketPath_(std::move(socketPath)), self_(std::make_shared<ControlLink*>(this)) {}

ControlLink::~ControlLink() {
  *self_ = nullptr;
  while (!asking_.empty()) close(asking_.front());
  if (following_ != nullptr) close(following_);
}

std::shared_ptr<ControlLink::Connection> ControlLink::open(const ControlRequest& request) {
  UniqueFd fd = makeUnixSocket();
  const auto address = unixSocketAddress(socketPath_);
  if (!fd || !address || ::fcntl(fd.get(), F_SETFL, O_NONBLOCK) != 0) return nullptr;
  if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) return nullptr;
  const std::string line = encodeRecord(request, controlForm) + "\n";
  // A request is far smaller than a fresh socket's buffer.
  if (sendOnce(fd.get(), line) != static_cast<ssize_t>(line.size())) return nullptr;
  return std::make_shared<Connection>(std::move(fd));
}

void ControlLink::close(const std::shared_ptr<Connection>& connection) {
  const auto kept = connection;
  kept->source.reset();
  kept->deadline.reset();
  asking_.remove(kept);
  if (following_ == kept) following_.reset();
}

void ControlLink::later(std::function<void()> task) {
  queue_.async([self = self_, task = std::move(task)] {
    if (*self != nullptr) task();
  });
}

void ControlLink::ask(const ControlRequest& request, Answer answer) {
  const auto connection = open(request);
  if (connection == nullptr) return later([answer = std::move(answer)] { answer(std::nullopt); });
  asking_.push_back(connection);
  // Each of its callers goes with the connection that it closes, so each runs a copy.
  const Task finish = [this, weak = std::weak_ptr(connection), answer = std::move(answer)] {
    const auto living = weak.lock();
    const auto line = living->nextLine();
    close(living);
    answer(understood(line));
  };
  connection->source = queue_.readSource(connection->fd.get(), [weak = std::weak_ptr(connection), finish] {
    const auto living = weak.lock();
    const bool ended = !living->read();
    if (!ended && living->buffer.find('\n') == std::string::npos) return;
    const Task last = finish;
    last();
  });
  connection->deadline = queue_.timer(answerLimit, Duration::zero(), [finish] {
    const Task last = finish;
    last();
  });
}

void ControlLink::follow(std::function<void(const ControlResponse&)> line, std::function<void()> ended) {
  if (following_ != nullptr) close(following_);
  following_ = open({.command = ControlCommand::follow});
  if (following_ == nullptr) return later(std::move(ended));
  following_->source = queue_.readSource(
      following_->fd.get(),
      [this, weak = std::weak_ptr(following_), line = std::move(line), ended = std::move(ended)] {
        // What runs may end this following: it goes on with its own copies.
        const auto living = weak.lock();
        const auto self = self_;
        const auto tell = line;
        const auto tellEnd = ended;
        const bool more = living->read();
        while (const auto text = living->nextLine()) {
          tell(understood(text));
          if (*self == nullptr || following_ != living) return;
        }
        if (more) return;
        close(living);
        tellEnd();
      });
}

}  // namespace vigilo
