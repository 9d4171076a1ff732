#include "helper/VigiloSocketClient.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "tests/support/TempFolder.h"

#include "support/UnixSocket.h"

namespace vigilo {
namespace {

UniqueFd listenAt(const std::string& path) {
  UniqueFd fd = makeUnixSocket();
  const auto address = unixSocketAddress(path);
  EXPECT_EQ(::bind(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address), 0);
  EXPECT_EQ(::listen(fd.get(), 4), 0);
  return fd;
}

TEST(VigiloSocketClient, DeliversTheWholeEventInOneConnection) {
  const test::TempFolder folder;
  const UniqueFd server = listenAt(folder.path("s"));
  const HookEvent event = HookEvent::of(AgentType::claude, AgentState::idle, Date::fromUnix(1), "id");
  std::string received;
  std::thread host([&] {
    const UniqueFd connection = acceptConnection(server.get(), true);
    char block[4096];
    const ssize_t count = ::recv(connection.get(), block, sizeof block, 0);
    received.assign(block, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    (void)sendOnce(connection.get(), "{\"ok\":true}\n");
  });
  EXPECT_TRUE(VigiloSocketClient{folder.path("s")}.send(event, 5000));
  host.join();
  EXPECT_EQ(received, *encodeHookEvent(event));
}

TEST(VigiloSocketClient, AMissingAnswerIsNoFailureButAMissingHostIs) {
  const test::TempFolder folder;
  const VigiloSocketClient client{folder.path("s")};
  EXPECT_FALSE(client.sendRaw("x", 1000));
  const UniqueFd server = listenAt(folder.path("s"));
  EXPECT_TRUE(client.sendRaw("x", 20)) << "nobody accepts: the time-out ends the wait for an answer";
  HookEvent endless = HookEvent::of(AgentType::claude, AgentState::idle, {});
  endless.timestamp = {std::numeric_limits<double>::infinity()};
  EXPECT_FALSE(client.send(endless, 20));
}

TEST(VigiloSocketClient, RefusesAPathThatLeavesNoRoomForTheTerminator) {
  const test::TempFolder folder;
  const std::string longest = folder.path(std::string(102 - folder.path("").size(), 'x'));
  const UniqueFd first = listenAt(longest);
  const UniqueFd second = listenAt(longest + "x");
  EXPECT_TRUE(VigiloSocketClient{longest}.sendRaw("x", 20));
  EXPECT_FALSE(VigiloSocketClient{longest + "x"}.sendRaw("x", 20));
}

}  // namespace
}  // namespace vigilo
