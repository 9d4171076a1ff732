#include "support/SocketWaitingRoom.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <filesystem>
#include <future>
#include <list>

#include "support/AsioQueue.h"
#include "support/SocketAcceptor.h"
#include "tests/support/SocketClient.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;
using test::SocketClient;
using Limits = SocketWaitingRoom::Limits;

// A server that answers "x" with "x!".
class SocketWaitingRoomTest : public testing::Test {
 protected:
  ~SocketWaitingRoomTest() override {
    queue->sync([this] { acceptor.reset(); });
  }

  void listen(Limits limits) {
    UniqueFd fd = makeUnixSocket();
    const auto address = unixSocketAddress(path);
    ASSERT_EQ(::bind(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address), 0);
    ASSERT_EQ(::listen(fd.get(), 64), 0);
    ::fcntl(fd.get(), F_SETFL, O_NONBLOCK);
    queue->sync([&] {
      acceptor = std::make_unique<SocketAcceptor>(*queue, std::move(fd), limits,
                                                  [this](ReadyConnection ready) { serve(std::move(ready)); });
    });
  }

  void serve(ReadyConnection ready) {
    EXPECT_EQ(ready.user, ::getuid());
    EXPECT_NE(::fcntl(ready.fd.get(), F_GETFL) & O_NONBLOCK, 0);
    char block[64];
    const ssize_t count = ::recv(ready.fd.get(), block, sizeof block, 0);
    if (count <= 0) return;
    ++served;
    (void)sendOnce(ready.fd.get(), std::string(block, static_cast<std::size_t>(count)) + "!");
  }

  // Connects and makes sure that the server has taken the connection in: connections are taken in order.
  void connectSilently() {
    silent.emplace_back(path);
    EXPECT_EQ(exchange("sync"), "sync!");
  }
  // The server finds the connection and its bytes together, so that this one never counts as silent.
  std::string exchange(std::string_view text) {
    std::promise<void> sent;
    queue->async([isSent = sent.get_future().share()] { isSent.wait(); });
    SocketClient client(path);
    client.send(text);
    sent.set_value();
    return client.answer();
  }

  const test::TempFolder folder;
  const std::string path = folder.path("s");
  std::unique_ptr<AsioQueue> queue = AsioQueue::withThread("com.vigilo.test");
  std::unique_ptr<SocketAcceptor> acceptor;
  std::list<SocketClient> silent;
  std::atomic<int> served{0};
};

TEST_F(SocketWaitingRoomTest, TheOldestSilentOneMakesRoomAtEachLimit) {
  for (const Limits limits : {Limits{.perUser = 3}, Limits{.inAll = 3}}) {
    listen(limits);
    for (int i = 0; i < 3; ++i) connectSilently();
    EXPECT_EQ(silent.front().answer(20), "(silence)") << "at the limit all may stay";
    connectSilently();
    EXPECT_EQ(silent.front().answer(), "") << "one past it the oldest is closed";
    silent.pop_front();
    for (auto& client : silent) {
      client.send("x");
      EXPECT_EQ(client.answer(), "x!");
    }
    silent.clear();
    queue->sync([this] { acceptor.reset(); });
    std::filesystem::remove(path);
  }
}

TEST_F(SocketWaitingRoomTest, AFloodThatSaysSomethingIsServedToTheLast) {
  listen({.perUser = 1});
  std::list<SocketClient> flood;
  for (int i = 0; i < 500; ++i) {
    flood.emplace_back(path).send("x");
    if (flood.size() > 50) {
      EXPECT_EQ(flood.front().answer(), "x!");
      flood.pop_front();
    }
  }
  for (auto& client : flood) EXPECT_EQ(client.answer(), "x!");
  EXPECT_EQ(served, 500);
}

// Out of descriptors: it must neither spin nor give up.
TEST_F(SocketWaitingRoomTest, AFailingAcceptPausesAndGoesOnLater) {
  listen({});
  EXPECT_EQ(exchange("x"), "x!");
  queue->sync([] {});
  rlimit usual{};
  ::getrlimit(RLIMIT_NOFILE, &usual);
  UniqueFd lastFree(::dup(STDERR_FILENO));
  rlimit low = usual;
  low.rlim_cur = static_cast<rlim_t>(lastFree.get()) + 1;
  lastFree.reset();
  ::setrlimit(RLIMIT_NOFILE, &low);
  SocketClient client(path);  // takes the last descriptor: there is none to accept it with
  client.send("x");
  const std::clock_t before = std::clock();
  EXPECT_EQ(client.answer(250), "(silence)");
  EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 20) << "it spins";
  ::setrlimit(RLIMIT_NOFILE, &usual);
  EXPECT_EQ(client.answer(), "x!");
}

}  // namespace
}  // namespace vigilo
