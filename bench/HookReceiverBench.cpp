// How many hook events a second the receiver takes in, from the socket through decoding and the session table
// to the delegate, compared with a server that only accepts, reads, writes and closes. Sixteen client
// processes, one event a connection. Prints one line per round and a verdict line.
//
//   hook_receiver_bench [events per client] [rounds] [clients]
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "agents/AgentStateCoordinator.h"
#include "agents/HookEventReceiver.h"
#include "support/AsioQueue.h"
#include "support/UnixSocket.h"

namespace {

using namespace vigilo;

int clients = 16;

struct Round {
  double eventsPerSecond = 0;
  long failed = 0;  // exchanges that a client saw fail
  long lost = 0;    // acknowledged, but never told to the delegate
};

// The least that a server can do for an exchange, without a queue, without decoding.
void serveMinimally(const std::string& path, int ready) {
  ::unlink(path.c_str());
  const UniqueFd server = makeUnixSocket();
  const auto address = unixSocketAddress(path);
  if (::bind(server.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) ::abort();
  ::listen(server.get(), 64);
  (void)!::write(ready, "r", 1);
  static char buffer[65536];
  for (;;) {
    const int fd = ::accept(server.get(), nullptr, nullptr);
    if (fd < 0) continue;
    if (::read(fd, buffer, sizeof buffer) > 0) (void)!::write(fd, "{\"ok\":true}\n", 12);
    ::close(fd);
  }
}

struct CountingDelegate final : AgentStateCoordinatorDelegate {
  void coordinatorDidUpdateSessions(SessionSnapshot, std::optional<Date>) override { ++count; }
  std::atomic<long> count{0};
};

void serveWithReceiver(const std::string& path, int control) {
  const auto queue = AsioQueue::withThread("com.vigilo.hookreceiver");
  const auto counter = std::make_shared<CountingDelegate>();
  const auto coordinator = std::make_shared<AgentStateCoordinator>(Date::now);
  coordinator->setDelegate(counter);
  HookEventReceiver receiver(path, *queue, Date::now);
  receiver.setDelegate(coordinator);
  receiver.start();
  (void)!::write(control, "r", 1);
  // The driver asks for the count when all clients are done.
  char request;
  while (::read(control, &request, 1) == 1) {
    queue->sync([] {});
    const long count = counter->count;
    (void)!::write(control, &count, sizeof count);
  }
}

bool exchange(const sockaddr_un& address, const std::string& event) {
  const UniqueFd fd = makeUnixSocket();
  if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return false;
  if (sendOnce(fd.get(), event) != static_cast<ssize_t>(event.size())) return false;
  char reply[64];
  return ::read(fd.get(), reply, sizeof reply) == 12;
}

// Returns the number of failed exchanges as the exit status, 255 at most.
[[noreturn]] void runClient(int number, int events, int gate, const std::string& path) {
  char go;
  (void)!::read(gate, &go, 1);
  const auto address = unixSocketAddress(path);
  long failed = 0;
  for (int i = 0; i < events; ++i) {
    const std::string event =
        R"({"schema":1,"agent":"claude","session_id":"c353b3b5-2d00-4904-8d43-cf583e4e)" +
        std::to_string(number * 4 + i % 4) + R"(","state":")" + (i % 3 == 0 ? "idle" : "working") +
        R"(","timestamp":1795262400.25,"cwd":"/Users/me/proj"})";
    if (!exchange(*address, event)) ++failed;
  }
  ::_exit(static_cast<int>(std::min(failed, 255L)));
}

pid_t inChild(const std::function<void()>& body) {
  const pid_t child = ::fork();
  if (child != 0) return child;
  body();
  ::_exit(0);
}

Round measure(int events, bool withReceiver) {
  int control[2], gate[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, control) != 0 || ::pipe(gate) != 0) ::abort();
  const std::string path = "/tmp/vigilo-bench-" + std::to_string(::getpid()) + ".sock";
  const pid_t server = inChild([&] {
    ::close(control[0]);
    ::close(gate[1]);
    withReceiver ? serveWithReceiver(path, control[1]) : serveMinimally(path, control[1]);
  });
  ::close(control[1]);
  char ready;
  if (::read(control[0], &ready, 1) != 1) ::abort();
  std::vector<pid_t> running;
  for (int i = 0; i < clients; ++i) {
    running.push_back(inChild([&] {
      ::close(gate[1]);
      runClient(i, events, gate[0], path);
    }));
  }
  const auto begin = std::chrono::steady_clock::now();
  const std::string open(static_cast<std::size_t>(clients), 'g');
  (void)!::write(gate[1], open.data(), open.size());
  Round round;
  for (const pid_t client : running) {
    int status = 0;
    ::waitpid(client, &status, 0);
    round.failed += WEXITSTATUS(status);
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  round.eventsPerSecond = clients * static_cast<double>(events) / took.count();
  if (withReceiver) {
    long count = 0;
    if (::write(control[0], "?", 1) != 1 || ::read(control[0], &count, sizeof count) != sizeof count)
      ::abort();
    round.lost = static_cast<long>(clients) * events - round.failed - count;
  }
  ::kill(server, SIGKILL);
  ::waitpid(server, nullptr, 0);
  for (const int fd : {control[0], gate[0], gate[1]}) ::close(fd);
  ::unlink(path.c_str());
  return round;
}

}  // namespace

int main(int argc, char** argv) {
  const int events = argc > 1 ? std::atoi(argv[1]) : 10000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  if (argc > 3) clients = std::atoi(argv[3]);
  double receiverBest = 0, minimalBest = 0;
  long lost = 0, failed = 0;
  for (int i = 0; i < rounds; ++i) {
    const Round minimal = measure(events, false);
    const Round receiver = measure(events, true);
    minimalBest = std::max(minimalBest, minimal.eventsPerSecond);
    receiverBest = std::max(receiverBest, receiver.eventsPerSecond);
    lost += receiver.lost;
    failed += receiver.failed;
    std::printf("minimal %8.0f/s   receiver %8.0f/s   ratio %.2f   failed %ld   lost %ld\n",
                minimal.eventsPerSecond, receiver.eventsPerSecond,
                receiver.eventsPerSecond / minimal.eventsPerSecond, receiver.failed, receiver.lost);
    std::fflush(stdout);
  }
  std::printf("best of %d: receiver %.0f events/s, ratio %.2f, failed %ld, lost %ld\n", rounds, receiverBest,
              receiverBest / minimalBest, failed, lost);
  return lost == 0 && failed == 0 ? 0 : 1;
}
