// Runs under tools/with-logind and tools/with-session-bus: a real logind on a bus of its own, and a session
// bus on which the test plays the desktop's services.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <thread>

#include "platform/PowerAssertions.h"
#include "platform/linux/Bus.h"
#include "policy/IdleWakeAssertionController.h"
#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;
using enum PowerAssertionType;

// logind's locks under our name: "idle: Vigilo: Claude Code working".
Lines locks() {
  Lines result;
  const auto inhibitors = bus::listInhibitors();
  EXPECT_TRUE(inhibitors);
  for (const auto& each : *inhibitors) {
    if (each.who == "Vigilo" && each.mode == "block") result.push_back(each.what + ": " + each.why);
  }
  return result;
}

// logind takes notice of a closed descriptor a moment later.
Lines locksOnceThereAre(std::size_t count) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (locks().size() != count && std::chrono::steady_clock::now() < limit)
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  return locks();
}

// Services of a desktop session, for as long as the object lives.
class Desktop {
 public:
  explicit Desktop(const std::string& names) {
    const std::string command =
        "exec /usr/bin/python3 " SESSION_SERVICES " " + log() + " " + names + " > " + folder_.path("ready");
    pipe_ = ::popen(command.c_str(), "w");
    while (folder_.read("ready") != "ready\n") std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ~Desktop() { end(); }
  // All services leave the bus.
  void end() {
    if (pipe_ != nullptr) ::pclose(std::exchange(pipe_, nullptr));
  }
  Lines take() {
    Lines lines;
    std::ifstream file(log());
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    std::ofstream(log(), std::ios::trunc);
    return lines;
  }

 private:
  std::string log() const { return folder_.path("calls"); }
  const test::TempFolder folder_;
  std::FILE* pipe_ = nullptr;
};

std::uint32_t created(PowerAssertions& assertions, PowerAssertionType type) {
  const auto identifier = assertions.create(type, "Vigilo: working");
  EXPECT_TRUE(identifier) << "errno " << (identifier ? 0 : identifier.error().code);
  EXPECT_TRUE(!identifier || assertions.stands(*identifier));
  return identifier ? *identifier : 0;
}

TEST(PowerAssertionsOnTheBus, WithoutADesktopBothAreLocksOfLogind) {
  const auto assertions = makePowerAssertions();
  EXPECT_EQ(assertions->description(), "logind idle inhibitor");
  const auto system = created(*assertions, preventUserIdleSystemSleep);
  EXPECT_EQ(locks(), Lines{"idle: Vigilo: working"});
  const auto display = created(*assertions, preventUserIdleDisplaySleep);
  EXPECT_NE(system, display);
  EXPECT_EQ(locks(), Lines(2, "idle: Vigilo: working"));
  assertions->release(system);
  assertions->release(system);
  EXPECT_FALSE(assertions->stands(system));
  EXPECT_TRUE(assertions->stands(display));
  assertions->release(display);
  EXPECT_EQ(locksOnceThereAre(0), Lines{});
}

TEST(PowerAssertionsOnTheBus, ADesktopIsAskedInItsOwnWords) {
  const Lines lock{"idle: Vigilo: working"};
  struct Row {
    const char* services;
    PowerAssertionType type;
    Lines calls, ends, locks;
  };
  const Row rows[] = {
      {"org.gnome.SessionManager org.freedesktop.PowerManagement",
       preventUserIdleSystemSleep,
       {"SessionManager.Inhibit Vigilo 0 Vigilo: working 4"},
       {"SessionManager.Uninhibit 100"},
       {}},
      {"org.gnome.SessionManager org.freedesktop.ScreenSaver",
       preventUserIdleDisplaySleep,
       {"SessionManager.Inhibit Vigilo 0 Vigilo: working 12"},
       {"SessionManager.Uninhibit 100"},
       lock},
      {"org.freedesktop.PowerManagement org.freedesktop.portal.Desktop",
       preventUserIdleSystemSleep,
       {"PowerManagement.Inhibit Vigilo Vigilo: working"},
       {"PowerManagement.UnInhibit 100"},
       {}},
      {"org.freedesktop.PowerManagement org.freedesktop.ScreenSaver",
       preventUserIdleDisplaySleep,
       {"ScreenSaver.Inhibit Vigilo Vigilo: working"},
       {"ScreenSaver.UnInhibit 100"},
       lock},
      {"org.freedesktop.portal.Desktop",
       preventUserIdleSystemSleep,
       {"Portal.Inhibit '' 4 Vigilo: working"},
       {"Request.Close"},
       lock},
      {"org.freedesktop.portal.Desktop",
       preventUserIdleDisplaySleep,
       {"Portal.Inhibit '' 12 Vigilo: working"},
       {"Request.Close"},
       lock},
  };
  for (const Row& row : rows) {
    Desktop desktop(row.services);
    const auto assertions = makePowerAssertions();
    const auto identifier = created(*assertions, row.type);
    EXPECT_EQ(desktop.take(), row.calls) << row.services;
    EXPECT_EQ(locks(), row.locks) << row.services;
    assertions->release(identifier);
    EXPECT_EQ(desktop.take(), row.ends) << row.services;
    EXPECT_EQ(locksOnceThereAre(0), Lines{}) << row.services;
  }
}

TEST(PowerAssertionsOnTheBus, AServiceThatGoesOrComesMeansToAskAnew) {
  const test::MemorySink log;
  IdleWakeAssertionController controller(makePowerAssertions());
  // As the host does, only faster: news from the bus takes a moment.
  const auto acquireUntilLocksAre = [&](std::size_t count) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    do {
      EXPECT_TRUE(controller.acquire("working", false));
    } while (locks().size() != count && std::chrono::steady_clock::now() < limit);
    return locks();
  };
  std::optional<Desktop> desktop;
  desktop.emplace("org.gnome.SessionManager");
  EXPECT_EQ(acquireUntilLocksAre(0), Lines{});
  desktop->end();
  EXPECT_EQ(acquireUntilLocksAre(1), Lines{"idle: Vigilo: working"});
  desktop.emplace("org.freedesktop.PowerManagement");
  EXPECT_EQ(acquireUntilLocksAre(0), Lines{});
  EXPECT_TRUE(controller.acquire("working", false));
  EXPECT_EQ(desktop->take(), Lines{"PowerManagement.Inhibit Vigilo Vigilo: working"}) << "once";
}

TEST(PowerAssertionsOnTheBus, ALostSessionBusIsNoticedAndAMachineWithoutOneIsHeld) {
  const std::string before = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  std::FILE* bus = ::popen("echo $$; exec dbus-daemon --session --nofork --print-address", "r");
  ASSERT_NE(bus, nullptr);
  int pid = 0;
  char address[200] = {};
  ASSERT_EQ(std::fscanf(bus, "%d %199s", &pid, address), 2);
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
  const auto assertions = makePowerAssertions();
  const auto first = created(*assertions, preventUserIdleSystemSleep);
  ::kill(pid, SIGKILL);
  ::pclose(bus);
  EXPECT_FALSE(assertions->stands(first));
  const auto second = created(*assertions, preventUserIdleSystemSleep);
  assertions->release(first);
  EXPECT_EQ(locksOnceThereAre(1), Lines{"idle: Vigilo: working"});
  assertions->release(second);
  ::setenv("DBUS_SESSION_BUS_ADDRESS", before.c_str(), 1);
}

// Under `with-logind -m -c IdleAction=suspend -c IdleActionSec=1s`, where suspends are lines in a file.
class PowerAssertionsOfAnIdleMachine : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto action = bus::idleAction();
    ASSERT_TRUE(action && *action == "suspend") << "this logind does not act on idleness";
  }
  // logind looks at its idle timer when it is asked for something.
  static bool suspends(std::chrono::milliseconds within) {
    const auto end = std::chrono::steady_clock::now() + within;
    while (std::chrono::steady_clock::now() < end) {
      (void)bus::idleAction();
      if (std::ifstream(std::getenv("VIGILO_SYSTEMD1_LOG")).peek() != std::ifstream::traits_type::eof())
        return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }
};

TEST_F(PowerAssertionsOfAnIdleMachine, AnExchangeLeavesNoGapToFallAsleepIn) {
  const test::MemorySink log;
  {
    IdleWakeAssertionController controller(makePowerAssertions());
    controller.acquire("working", false);
    EXPECT_FALSE(suspends(std::chrono::milliseconds(2500))) << "idle for longer than the limit, but held";
    for (int i = 0; i < 50; ++i) {
      controller.acquire("working", i % 2 == 0);
      ASSERT_FALSE(suspends(std::chrono::milliseconds(5))) << "exchange " << i;
    }
  }
  EXPECT_TRUE(suspends(std::chrono::seconds(60))) << "without a hold this machine does fall asleep";
}

TEST_F(PowerAssertionsOfAnIdleMachine, LogindIsHeldBesideTheDesktopThatDoesNotStopIt) {
  Desktop desktop("org.gnome.SessionManager");
  const auto assertions = makePowerAssertions();
  created(*assertions, preventUserIdleSystemSleep);
  EXPECT_EQ(desktop.take(), Lines{"SessionManager.Inhibit Vigilo 0 Vigilo: working 4"});
  EXPECT_EQ(locks(), Lines{"idle: Vigilo: working"});
}

}  // namespace
}  // namespace vigilo
