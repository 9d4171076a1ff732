#include "VigiloApp/control/ControlServer.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>

#include "support/RecordCoder.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr auto requestLimit = 1s;
constexpr auto flushInterval = 100ms;
// Requests that have begun and are not complete; beyond this the oldest is closed.
constexpr std::size_t mostReading = 16;
constexpr std::size_t mostFollowers = 32;
constexpr int backlog = 64;

std::system_error systemError(const std::string& what) {
  return std::system_error(errno, std::generic_category(), what);
}

ControlResponse refusal(int exitCode, std::string message) {
  ControlResponse response;
  response.exitCode = exitCode;
  response.message = std::move(message);
  return response;
}

}  // namespace

// One connection's descriptor, what has come in and what has not gone out yet.
class ControlServer::Connection {
 public:
  explicit Connection(UniqueFd socket) : fd(std::move(socket)) {}
  ~Connection() { source.reset(); }

  enum class Input { incomplete, complete, tooLong, closed };
  Input read() {
    char block[4096];
    for (;;) {
      const ssize_t count = ::recv(fd.get(), block, sizeof block, MSG_DONTWAIT);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return Input::incomplete;
      if (count <= 0) return Input::closed;
      input.append(block, static_cast<std::size_t>(count));
      const auto end = input.find('\n');
      if (std::min(end, input.size()) >= controlMessageLimit) return Input::tooLong;
      if (end == std::string::npos) continue;
      input.resize(end);
      return Input::complete;
    }
  }

  // False when the connection is to be dropped.
  bool write(std::string_view line) {
    output.append(line);
    return flush() && output.size() <= followerBacklogLimit;
  }
  bool flush() {
    while (!output.empty()) {
      const ssize_t count = sendOnce(fd.get(), output);
      if (count < 0) return errno == EAGAIN || errno == EWOULDBLOCK;
      output.erase(0, static_cast<std::size_t>(count));
    }
    return true;
  }

  const UniqueFd fd;
  std::string input;
  std::string output;
  CancelToken source;
  CancelToken deadline;
};

ControlServer::ControlServer(Queue& queue, std::string socketPath, Handler handler)
    : queue_(queue),
      socketPath_(std::move(socketPath)),
      handler_(std::move(handler)),
      self_(std::make_shared<ControlServer*>(this)) {}

ControlServer::~ControlServer() {
  *self_ = nullptr;
  if (acceptor_ != nullptr) ::unlink(socketPath_.c_str());
}

void ControlServer::start() {
  const auto address = unixSocketAddress(socketPath_);
  if (!address) throw systemError(socketPath_);
  ::unlink(socketPath_.c_str());
  UniqueFd listening = makeUnixSocket();
  if (!listening) throw systemError("socket");
  // The permissions are there from the socket's first moment.
  const mode_t before = ::umask(0177);
  const int bound = ::bind(listening.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address);
  ::umask(before);
  if (bound != 0 || ::listen(listening.get(), backlog) != 0) throw systemError(socketPath_);
  ::fcntl(listening.get(), F_SETFL, O_NONBLOCK);
  acceptor_ = std::make_unique<SocketAcceptor>(queue_, std::move(listening),
                                               SocketWaitingRoom::Limits{.silence = requestLimit},
                                               [this](ReadyConnection ready) { begin(std::move(ready)); });
}

void ControlServer::begin(ReadyConnection ready) {
  auto connection = std::make_shared<Connection>(std::move(ready.fd));
  const auto advance = [this](const std::shared_ptr<Connection>& reader) {
    const auto state = reader->read();
    if (state == Connection::Input::incomplete) return false;
    reader->source.reset();
    reader->deadline.reset();
    if (state == Connection::Input::complete) dispatch(reader, reader->input);
    if (state == Connection::Input::tooLong)
      answer(reader, false, refusal(exitUsage, "the request is too long"));
    return true;
  };
  if (advance(connection)) return;
  // The rest of the line is still on its way.
  if (reading_.size() >= mostReading) reading_.pop_front();
  reading_.push_back(connection);
  const auto drop = [this](Connection* reader) {
    reading_.remove_if([&](const auto& entry) { return entry.get() == reader; });
  };
  Connection* reader = connection.get();
  connection->source = queue_.readSource(reader->fd.get(), [weak = std::weak_ptr(connection), advance, drop] {
    const auto living = weak.lock();
    if (living != nullptr && advance(living)) drop(living.get());
  });
  connection->deadline = queue_.timer(requestLimit, Duration::zero(), [reader, drop] { drop(reader); });
}

void ControlServer::dispatch(const std::shared_ptr<Connection>& connection, const std::string& line) {
  const auto request = decodeRecord<ControlRequest>(line, controlForm);
  if (!request) {
    return answer(connection, false,
                  refusal(exitUsage, "not a control request: " + request.error().description));
  }
  if (request->version != controlVersion) {
    return answer(connection, false,
                  refusal(exitUnavailable, "the running host is another version of Vigilo: restart it"));
  }
  const bool follows = request->command == ControlCommand::follow;
  handler_(*request, [self = self_, &queue = queue_, connection, follows](ControlResponse response) {
    queue.async([self, connection, follows, response = std::move(response)]() mutable {
      if (*self != nullptr) (*self)->answer(connection, follows, std::move(response));
    });
  });
}

void ControlServer::answer(const std::shared_ptr<Connection>& connection, bool follows,
                           ControlResponse response) {
  const std::string line = controlLine(std::move(response));
  // A client that has gone, or does not read its one line, has no use for it.
  if (!connection->write(line) || !follows) return;
  if (followers_.size() >= mostFollowers) followers_.pop_front();
  followers_.push_back(connection);
  followerCount_ = followers_.size();
}

void ControlServer::publish(const StatusReport& status) {
  if (followers_.empty()) return;
  ControlResponse response;
  response.status = status;
  const std::string line = controlLine(std::move(response));
  followers_.remove_if([&](const auto& follower) { return !follower->write(line); });
  flushFollowers();
}

// Tries again while somebody has something unread; a follower that has closed shows when it is written to.
void ControlServer::flushFollowers() {
  followers_.remove_if([](const auto& follower) { return !follower->flush(); });
  followerCount_ = followers_.size();
  const bool backlogged = std::any_of(followers_.begin(), followers_.end(),
                                      [](const auto& follower) { return !follower->output.empty(); });
  flushTimer_ =
      backlogged ? queue_.timer(flushInterval, Duration::zero(), [this] { flushFollowers(); }) : nullptr;
}

}  // namespace vigilo
