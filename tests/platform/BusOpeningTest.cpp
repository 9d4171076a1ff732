#include <gtest/gtest.h>

#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "platform/linux/Bus.h"
#include "platform/linux/BusAddress.h"
#include "platform/linux/BusNotifications.h"
#include "support/UnixSocket.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

std::vector<std::string> names(const std::string& address) {
  std::vector<std::string> names;
  for (const auto& socket : bus::unixSocketsOf(address)) {
    std::string name(socket.address.sun_path, socket.length - offsetof(sockaddr_un, sun_path));
    name[name.find('\0')] = '@';
    names.push_back(name);
  }
  return names;
}

TEST(BusOpening, TheSocketsOfAnAddressAreFound) {
  using Names = std::vector<std::string>;
  EXPECT_EQ(names("unix:path=/run/user/1000/bus"), Names{"/run/user/1000/bus@"});
  EXPECT_EQ(names("unix:guid=1a,abstract=/tmp/dbus-x,y=z;tcp:host=h,port=1;unix:path=/a%20b;"),
            (Names{"@/tmp/dbus-x", "/a b@"}));
  for (const char* none :
       {"", ";", "unix:", "unix:path=", "unix:path=/a%2", "unix:path=/a%zz", "unix:runtime=yes"}) {
    EXPECT_EQ(names(none), Names{}) << none;
  }
  EXPECT_EQ(names("unix:path=" + std::string(108, 'x')), Names{});
}

// A bus that takes connections and never says a word, as one that was stopped does.
TEST(BusOpening, ABusThatIsSilentCostsTwoSecondsAndThenNothingForAWhile) {
  const test::TempFolder folder;
  const std::string path = folder.path() + "/bus";
  const UniqueFd silent = makeUnixSocket();
  const auto address = unixSocketAddress(path);
  ASSERT_EQ(::bind(silent.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address), 0);
  ASSERT_EQ(::listen(silent.get(), 10), 0);
  const struct {
    const char* variable;
    std::function<int()> errorOfCall;
  } buses[] = {
      {"DBUS_SYSTEM_BUS_ADDRESS", [] { return bus::isLidClosed().error().code; }},
      {"DBUS_SESSION_BUS_ADDRESS", [] { return bus::NotificationsConnection::open().error().code; }},
  };
  for (const auto& [variable, errorOfCall] : buses) {
    SCOPED_TRACE(variable);
    const char* before = ::getenv(variable);
    ::setenv(variable, ("unix:path=/nonexistent/bus;unix:path=" + path).c_str(), 1);
    const auto began = Clock::now();
    EXPECT_EQ(errorOfCall(), ETIMEDOUT);
    const auto looked = Clock::now();
    EXPECT_GE(looked - began, 2s);
    EXPECT_LT(looked - began, 10s) << "not the library's own patience";
    EXPECT_EQ(errorOfCall(), ETIMEDOUT);
    EXPECT_LT(Clock::now() - looked, 1s);
    // Another bus is another matter, and so is one that is not there: both are looked at anew.
    ::setenv(variable, "unix:path=/nonexistent/bus", 1);
    EXPECT_EQ(errorOfCall(), ENOENT);
    before == nullptr ? ::unsetenv(variable) : ::setenv(variable, before, 1);
  }
}

}  // namespace
}  // namespace vigilo
