#include "HelperDaemon.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "helper/DefaultSystemPowerController.h"
#include "helper/VigiloWritePolicy.h"
#include "support/Log.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr Log logger{"com.vigilo.helper", "daemon"};

constexpr auto watchdogInterval = 5s;
constexpr auto uninstallDelay = 500ms;  // lets the answer reach the client
constexpr auto pauseAfterFailedAccept = 100ms;
constexpr int backlog = 32;
constexpr int folderMode = 0755;
constexpr mode_t socketMode = 0666;  // everyone may ask; the request handler decides

std::string defaultSocketPath() {
  return ::geteuid() == 0 ? rootHelperSocket : HelperDaemon::fallbackSocketPath();
}

bool isReadable(int fd) {
  pollfd entry{fd, POLLIN, 0};
  return ::poll(&entry, 1, 0) > 0;
}

std::string folderOf(const std::string& path) {
  return path.substr(0, path.rfind('/'));
}

}  // namespace

const std::string& HelperDaemon::fallbackSocketPath() {
  static const std::string path = Directories::ofCurrentUser().helperSocket();
  return path;
}

HelperDaemon::HelperDaemon(Queue& mainQueue, std::optional<std::string> socketPath)
    : mainQueue_(mainQueue),
      socketPath_(socketPath ? std::move(*socketPath) : defaultSocketPath()),
      serviceManager_(makeServiceManager()),
      powerController_(makeSystemPowerController(*serviceManager_)),
      leaseStore_(*powerController_, folderOf(socketPath_) + "/vigilo-helper-state.json",
                  VigiloWritePolicy::gate(Directories::ofCurrentUser()), Date::now, secondsAwake),
      handler_(leaseStore_),
      queue_(AsioQueue::withThread("com.vigilo.helper.queue")),
      waitingRoom_(*queue_, {}, [this](ReadyConnection connection) { enqueue(std::move(connection)); }) {}

int HelperDaemon::start() {
  if (isServedByAnother()) {
    logger.error("A helper serves %s already", socketPath_);
    return EXIT_FAILURE;
  }
  logger.info("The sleep setting is reached through %s", powerController_->description());
  if (!listen()) return EXIT_FAILURE;
  takeUpInheritedHold();
  watchdogTimer_ = queue_->timer(watchdogInterval, watchdogInterval, [this] { watch(); });
  queue_->sync([this] { queue_->onSignal({SIGTERM, SIGINT}, [this](int signal) { endOnSignal(signal); }); });
  logger.info("Vigilo Helper Daemon active on %s", socketPath_);
  serviceManager_->tellReady();
  while (isRunning_) acceptNext();
  return EXIT_SUCCESS;
}

// One that is too busy to accept, or stands still, is somebody too; a helper that died leaves a path that
// refuses.
bool HelperDaemon::isServedByAnother() const {
  const auto address = unixSocketAddress(socketPath_);
  const UniqueFd fd = makeUnixSocket();
  if (!address || !fd) return false;
  ::fcntl(fd.get(), F_SETFL, O_NONBLOCK);
  return ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0 ||
         errno == EAGAIN;
}

bool HelperDaemon::listen() {
  // Without the folder, binding fails and says so. A socket left by an earlier run would stop it too.
  makeFolders(folderOf(socketPath_), folderMode);
  ::unlink(socketPath_.c_str());
  UniqueFd fd = makeUnixSocket();
  if (!fd) {
    logger.error("Helper failed to create socket: %d", errno);
    return false;
  }
  if (!bindSocket(fd.get())) {
    logger.error("Helper failed to bind socket at %s: %d", socketPath_, errno);
    return false;
  }
  ::chmod(socketPath_.c_str(), socketMode);
  if (::listen(fd.get(), backlog) != 0) {
    logger.error("Helper failed to listen on socket");
    ::unlink(socketPath_.c_str());
    return false;
  }
  serverFd_ = std::move(fd);
  isRunning_ = true;
  return true;
}

bool HelperDaemon::bindSocket(int fd) const {
  const auto address = unixSocketAddress(socketPath_);
  return address && ::bind(fd, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
}

void HelperDaemon::takeUpInheritedHold() {
  leaseStore_.retakeInheritedHold();
  dropKeptHoldWhenReplaced();
}

// Stays for as long as a lease asks for a hold that is not in force yet: logind may be slow. One that had
// lapsed meanwhile is not kept.
void HelperDaemon::dropKeptHoldWhenReplaced() {
  if (keptHold_ && !leaseStore_.isWaitingForHold()) keptHold_.reset();
}

void HelperDaemon::watch() {
  leaseStore_.checkWatchdog();
  dropKeptHoldWhenReplaced();
  serviceManager_->tellAlive();
}

void HelperDaemon::endOnSignal(int signal) {
  serviceManager_->tellStopping();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void HelperDaemon::acceptNext() {
  UniqueFd connection = acceptConnection(serverFd_.get());
  if (connection) {
    std::list<UniqueFd> batch;
    batch.push_back(std::move(connection));
    // What a crowd has brought into the kernel's backlog comes in at once: somebody else may stand behind it.
    while (batch.size() < backlog && batch.back() && isReadable(serverFd_.get()))
      batch.push_back(acceptConnection(serverFd_.get()));
    if (!batch.back()) batch.pop_back();
    // Waits for the queue: while it is busy, further connections stay in the kernel's backlog, where they
    // cost no descriptor of ours.
    queue_->sync([&] { waitingRoom_.admit(std::move(batch)); });
  } else if (errno != EINTR && errno != ECONNABORTED) {
    std::this_thread::sleep_for(pauseAfterFailedAccept);
  }
}

void HelperDaemon::enqueue(ReadyConnection connection) {
  const bool isIdle = turns_.isEmpty();
  if (turns_.add(std::move(connection)) && isIdle) queue_->async([this] { serveNext(); });
}

// One at a time, so that new connections come in between.
void HelperDaemon::serveNext() {
  const auto connection = turns_.next();
  serve(*connection);
  if (!turns_.isEmpty()) queue_->async([this] { serveNext(); });
}

void HelperDaemon::serve(const ReadyConnection& connection) {
  char request[helperMessageLimit];
  const ssize_t count = ::read(connection.fd.get(), request, sizeof request);
  if (count <= 0) return;
  const auto reply =
      handler_.handle(std::string_view(request, static_cast<std::size_t>(count)), connection.user);
  dropKeptHoldWhenReplaced();
  if (reply.uninstallAsked) scheduleUninstall();
  // A client that has gone gets no answer; nobody else misses it.
  (void)sendOnce(connection.fd.get(), reply.bytes);
  // A bus that hangs delays each request by seconds; many of them must not pass for a queue that hangs.
  serviceManager_->tellAlive();
}

// On the main queue, so that it runs only where the main thread serves that queue; while the main thread
// accepts, an uninstall means that the hold is given back, and the service manager ends the process.
void HelperDaemon::scheduleUninstall() {
  if (std::exchange(isUninstallScheduled_, true)) return;
  mainQueue_.asyncAfter(uninstallDelay, [path = socketPath_] {
    ::unlink(path.c_str());
    std::exit(EXIT_SUCCESS);
  });
}

}  // namespace vigilo
