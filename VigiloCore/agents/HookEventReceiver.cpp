#include "agents/HookEventReceiver.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <set>
#include <system_error>

#include "support/AtomicFile.h"
#include "support/HomeFolder.h"
#include "support/NearestWord.h"
#include "support/SocketAcceptor.h"
#include "support/UnixSocket.h"
#include "support/Utf8.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr int backlog = 64;
// The relay writes right after it connects.
constexpr Duration longestSilence = 1s;
constexpr double furthestAheadSeconds = 60;
constexpr std::size_t mostToldNames = 32;
constexpr std::size_t longestToldName = 60;  // bytes
constexpr const char* acknowledgement = "{\"ok\":true}\n";

void makeParentFolder(const std::string& path) {
  const std::string parent = path.substr(0, path.find_last_of('/') + 1);
  if (parent.size() <= 1) return;
  if (const auto error = makeFolders(parent.substr(0, parent.size() - 1), 0700)) {
    throw std::system_error(error->code, std::generic_category(), error->description);
  }
}

[[noreturn]] void throwPosix(int code, const char* what) {
  throw std::system_error(code, std::generic_category(), what);
}

// Which file stands at a path; a path can change hands while a socket lives.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;

  static std::optional<FileIdentity> at(const std::string& path) {
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) return std::nullopt;
    return FileIdentity{found.st_dev, found.st_ino};
  }
  bool operator==(const FileIdentity&) const = default;
};

UniqueFd listenAt(const std::string& path, const Log& log) {
  ::unlink(path.c_str());  // a crashed run left it, or nobody did
  UniqueFd fd = makeUnixSocket();
  if (!fd) {
    const int code = errno;
    log.error("Failed to create UNIX domain socket: %d", code);
    throwPosix(code, "socket");
  }
  ::fcntl(fd.get(), F_SETFL, O_NONBLOCK);
  const auto address = unixSocketAddress(path);
  if (!address) throw std::system_error(HookEventError::payloadTooLarge);
  if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    const int code = errno;
    log.error("Failed to bind UNIX domain socket at %s: %d", path, code);
    throwPosix(code, "bind");
  }
  ::chmod(path.c_str(), 0600);
  if (::listen(fd.get(), backlog) != 0) {
    const int code = errno;
    ::unlink(path.c_str());
    log.error("Failed to listen on socket: %d", code);
    throwPosix(code, "listen");
  }
  return fd;
}

}  // namespace

// What one run of the receiver keeps. Its acceptor lives on the queue.
struct HookEventReceiver::Listener {
  std::unique_ptr<SocketAcceptor> acceptor;
  bool isClosed = false;  // set on the queue: what is still in its hands is dropped
  std::optional<FileIdentity> socketFile;
  std::set<std::string> toldNames;          // unknown agents and states that the log has told of
  std::array<char, hookEventLimit> buffer;  // only as much of it is touched as messages are long
};

const std::string& HookEventReceiver::defaultSocketPath() {
  static const std::string path = [] {
    std::string home = homeFolder();
    if (home.empty()) fatal("this account has no home folder");
    return home.append(hookSocketBelowHome);
  }();
  return path;
}

HookEventReceiver::HookEventReceiver(std::string socketPath, Queue& queue, Clock clock)
    : socketPath_(std::move(socketPath)), queue_(queue), clock_(std::move(clock)) {}

HookEventReceiver::~HookEventReceiver() {
  stop();
}

void HookEventReceiver::start() {
  const LockGuard guard(isRunningLock_);
  if (listener_) return;
  makeParentFolder(socketPath_);
  auto fd = std::make_shared<UniqueFd>(listenAt(socketPath_, log_));
  auto listener = std::make_shared<Listener>();
  listener->socketFile = FileIdentity::at(socketPath_);
  queue_.async([this, fd, listener] {
    SocketWaitingRoom::Limits limits;
    limits.silence = longestSilence;
    listener->acceptor = std::make_unique<SocketAcceptor>(
        queue_, std::move(*fd), limits, [this, at = listener.get()](ReadyConnection connection) {
          if (!at->isClosed) serve(*at, connection.fd.get());
        });
  });
  listener_ = std::move(listener);
  log_.info("HookEventReceiver started on %s", socketPath_);
}

void HookEventReceiver::stop() {
  std::shared_ptr<Listener> listener;
  {
    const LockGuard guard(isRunningLock_);
    if (!listener_) return;
    listener = std::move(listener_);
    listener_ = nullptr;
    if (listener->socketFile && FileIdentity::at(socketPath_) == listener->socketFile) {
      ::unlink(socketPath_.c_str());
    }
    log_.info("HookEventReceiver stopped");
  }
  // Off the lock, so that a delegate that is just asking for it can finish.
  const auto close = [listener] {
    listener->isClosed = true;
    listener->acceptor.reset();
  };
  if (!queue_.isCurrent()) return queue_.sync(close);
  // Called by the delegate: the acceptor is at work further up on this stack.
  listener->isClosed = true;
  queue_.async(close);
}

bool HookEventReceiver::isRunning() const {
  const LockGuard guard(isRunningLock_);
  return listener_ != nullptr;
}

HookEventReceiver::Answer HookEventReceiver::handle(std::string_view bytes) const {
  const Date now = clock_();
  auto event = decodeHookEvent(bytes, now);
  if (!event) {
    const std::string& reason = event.error().description;
    log_.error("Failed to parse hook event (%ld bytes): %s", bytes.size(), reason);
    return {"{\"ok\":false,\"error\":\"" + reason + "\"}\n", std::nullopt};
  }
  if (event->timestamp - now > furthestAheadSeconds) event->timestamp = now;
  log_.debug("Received event: agent=%s state=%s session=%s", rawValue(event->agent), rawValue(event->state),
             event->sessionId);
  return {acknowledgement, *std::move(event)};
}

// A hook with a misspelt word runs again and again, so each word is told once.
void HookEventReceiver::tellUnknownNames(Listener& listener, const HookEvent& event) const {
  const auto isNew = [&](const std::optional<std::string>& name) {
    return name && listener.toldNames.size() < mostToldNames &&
           listener.toldNames.insert(shortened(*name, longestToldName)).second;
  };
  if (isNew(event.unknownState)) {
    log_.error(
        "An event of %s says the state \"%s\", which is none: its session does not count as working.%s",
        displayName(event.agent), shortened(*event.unknownState, longestToldName),
        didYouMean(*event.unknownState, stateNames));
  }
  if (isNew(event.unknownAgent)) {
    const std::string meant = didYouMean(*event.unknownAgent, agentNames);
    const std::string name = shortened(*event.unknownAgent, longestToldName);
    if (meant.empty())
      log_.info("Events of \"%s\" count as a custom agent's", name);
    else
      log_.error("An event says the agent \"%s\", which counts as a custom one.%s", name, meant);
  }
}

void HookEventReceiver::serve(Listener& listener, int fd) const {
  ssize_t count;
  do {
    count = ::recv(fd, listener.buffer.data(), listener.buffer.size(), 0);
  } while (count < 0 && errno == EINTR);
  if (count <= 0) return;
  const Answer answer = handle({listener.buffer.data(), static_cast<std::size_t>(count)});
  // A client that has gone does not want its answer.
  (void)sendOnce(fd, answer.reply);
  if (!answer.event) return;
  tellUnknownNames(listener, *answer.event);
  if (const auto delegate = delegate_.lock()) delegate->didReceiveHookEvent(*answer.event);
}

}  // namespace vigilo
