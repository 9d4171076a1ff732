#include "AppCoordinator.h"

#include <gtest/gtest.h>

#include "tests/simulation/World.h"
#include "tests/support/MemorySink.h"

namespace vigilo {
namespace {

using test::Actions;
using test::MemorySink;
using test::World;

// The whole system with a helper that runs, one agent's events, and nothing held at first.
class AppCoordinatorTest : public testing::Test {
 protected:
  AppCoordinatorTest() {
    world.startHelper();
    world.startHost();
  }

  void work() { world.event(AgentType::claude, AgentState::working), world.run(0); }
  void idle() { world.event(AgentType::claude, AgentState::idle), world.run(0); }
  std::string decision() { return world.host().currentDecision.get().statusDescription(); }
  void set(const std::string& key, DefaultsValue value) { world.defaults.set(key, std::move(value)); }

  World world;
};

TEST_F(AppCoordinatorTest, TheFirstEvaluationWithoutAgentsTouchesNothing) {
  world.run(60);
  EXPECT_EQ(world.machine.take(), Actions{});
  EXPECT_EQ(decision(), "Sleep enabled — No active agent sessions");
}

TEST_F(AppCoordinatorTest, AnAgentThatWorksIsHeldAtOnceAndForAsLongAsItReports) {
  work();
  EXPECT_EQ(world.machine.take(), (Actions{"idle+ Vigilo: Claude Code working", "sleep off"}));
  for (int minute = 0; minute < 60; ++minute) {
    work();
    world.run(60);
    EXPECT_TRUE(world.machine.holdsIdle() && world.machine.sleepDisabled);
  }
  EXPECT_EQ(world.machine.take(), Actions{}) << "an hour of holding exchanges nothing";
  EXPECT_EQ(world.host().elapsedProtectionSeconds(), 3600);
}

TEST_F(AppCoordinatorTest, TheReleaseWaitsForTheDebounceAndComesOnce) {
  work();
  world.run(10);
  idle();
  world.machine.take();
  world.run(29.5);
  EXPECT_EQ(decision(), "Active (0 working agents) — Release debounce (1s)");
  EXPECT_EQ(world.machine.take(), Actions{});
  world.run(1.5);
  EXPECT_EQ(world.machine.take(), (Actions{"release 1", "sleep on"}));
  EXPECT_FALSE(world.host().protectionStartedAt.get());
  world.run(300);
  EXPECT_EQ(world.machine.take(), Actions{});
}

TEST_F(AppCoordinatorTest, AnAgentThatWorksAgainWithinTheDebounceKeepsItsHold) {
  work();
  idle();
  world.run(20);
  world.machine.take();
  work();
  world.run(100);
  EXPECT_EQ(world.machine.take(), Actions{});
}

// A stop whose id was lost once left its session working for fifteen minutes, beside a second one.
TEST_F(AppCoordinatorTest, AStopWithoutAnIdEndsTheOnlySession) {
  world.event(AgentType::claude, AgentState::working, "");
  world.event(AgentType::claude, AgentState::working, "a");
  world.event(AgentType::claude, AgentState::idle, "");
  world.run(31);
  EXPECT_EQ(decision(), "Sleep enabled — No active agent sessions");
  EXPECT_EQ(world.host().activeSessionsList.get().size(), 1u);
}

TEST_F(AppCoordinatorTest, ASessionThatFallsSilentIsStaleAfterFifteenMinutesAndThenDebounced) {
  work();
  world.machine.take();
  world.run(900);
  EXPECT_TRUE(world.machine.sleepDisabled);
  world.run(3);
  EXPECT_EQ(world.host().activeSessionsList.get().front().state, AgentState::stale);
  EXPECT_TRUE(world.machine.sleepDisabled) << "the debounce begins when the last agent counts as stopped";
  world.run(30);
  EXPECT_EQ(world.machine.take(), (Actions{"release 1", "sleep on"}));
}

// A session goes stale between two ticks, where only an evaluation sees it.
TEST_F(AppCoordinatorTest, GoingStaleIsOneEndWhoeverSeesItFirst) {
  world.run(0.5);
  work();
  world.desktop.take();
  Actions decisions;
  world.host().onEvaluated = [&] {
    const std::string now = decision();
    if (now.find("debounce") == std::string::npos && (decisions.empty() || decisions.back() != now))
      decisions.push_back(now);
  };
  for (int i = 0; i < 10 * 940; ++i) {
    world.run(0.1);
    world.host().evaluate();
  }
  EXPECT_EQ(decisions, (Actions{"Active (1 working agent) — Claude Code working",
                                "Sleep enabled — No active agent sessions"}));
  EXPECT_EQ(world.desktop.take(),
            (Actions{"vigilo.finished silent: Normal sleep behavior has been restored.", "Hero"}));
  EXPECT_EQ(world.machine.take(),
            (Actions{"idle+ Vigilo: Claude Code working", "sleep off", "release 1", "sleep on"}));
}

TEST_F(AppCoordinatorTest, EachSafetyBlockReleasesBothHoldsAtOnce) {
  const struct {
    const char* name;
    std::function<void()> begin, end;
  } blocks[] = {
      {"Master switch disabled", [&] { set("masterEnabled", false); }, [&] { set("masterEnabled", true); }},
      {"Protection paused", [&] { set("pauseUntil", world.time.now() + 60); }, [&] { world.run(60); }},
      {"Battery level below safety cutoff", [&] { world.machine.setBattery(false, 15); },
       [&] { world.machine.setBattery(false, 18); }},
      {"AC power disconnected (AC-only mode)",
       [&] {
         set("onlyOnAC", true);
         world.machine.setBattery(false, 80);
       },
       [&] { world.machine.setBattery(true, 80); }},
      {"Thermal critical safety cutoff", [&] { world.machine.setThermal(3); },
       [&] { world.machine.setThermal(2); }},
  };
  work();
  for (const auto& block : blocks) {
    SCOPED_TRACE(block.name);
    block.begin();
    world.run(1);
    EXPECT_EQ(decision(), std::string("Safety blocked: ") + block.name);
    EXPECT_FALSE(world.machine.holdsIdle() || world.machine.sleepDisabled);
    block.end();
    world.run(1);
    EXPECT_TRUE(world.machine.holdsIdle() && world.machine.sleepDisabled);
    set("onlyOnAC", false);
    work();
  }
}

TEST_F(AppCoordinatorTest, TheBatteryLatchHoldsUntilThreePercentAboveTheFloor) {
  work();
  world.machine.setBattery(false, 15);
  world.run(1);
  for (const int percent : {16, 17}) {
    world.machine.setBattery(false, percent);
    world.run(1);
    EXPECT_TRUE(world.host().currentDecision.get().isBlocked(SafetyBlock::batteryBelowFloor)) << percent;
  }
  // The latch survives another block in between while the battery stays low.
  world.machine.setThermal(3);
  world.run(1);
  world.machine.setThermal(0);
  world.run(1);
  EXPECT_TRUE(world.host().currentDecision.get().isBlocked(SafetyBlock::batteryBelowFloor));
  // The charger clears it even while the decision is some other block.
  set("masterEnabled", false);
  world.machine.setBattery(true, 16);
  world.run(1);
  set("masterEnabled", true);
  world.machine.setBattery(false, 16);
  world.run(1);
  EXPECT_TRUE(world.host().currentDecision.get().isHolding());
}

TEST_F(AppCoordinatorTest, AnUnreadableBatteryNeverReadsAsEmptyNorAsOnAC) {
  world.machine.setBattery(false, 50);
  work();
  world.machine.battery.currentCapacity.reset();
  world.machine.battery.powerSourceState.reset();
  world.machine.powerChanged();
  world.run(59);
  EXPECT_TRUE(world.host().currentDecision.get().isHolding());
  set("onlyOnAC", true);
  world.run(5);
  EXPECT_TRUE(world.host().currentDecision.get().isBlocked(SafetyBlock::acDisconnected));
}

TEST_F(AppCoordinatorTest, DisplaySleepFollowsItsSettingDuringAHoldWithoutAGap) {
  work();
  world.machine.take();
  set("preventDisplaySleep", true);
  world.run(1);
  EXPECT_EQ(world.machine.take(), (Actions{"idle+ Vigilo: Claude Code working",
                                           "display+ Vigilo: Claude Code working", "release 1"}));
}

TEST_F(AppCoordinatorTest, TwoSessionsOfOneAgentEndOneByOne) {
  world.event(AgentType::claude, AgentState::working, "a");
  world.event(AgentType::claude, AgentState::working, "b");
  world.run(1);
  EXPECT_EQ(decision(), "Active (2 working agents) — Claude Code working");
  world.event(AgentType::claude, AgentState::completed, "a");
  world.run(60);
  EXPECT_EQ(decision(), "Active (1 working agent) — Claude Code working");
}

TEST_F(AppCoordinatorTest, AHelperThatComesLateIsAskedAgain) {
  world.killHelper();
  work();
  world.run(20);
  EXPECT_TRUE(world.machine.holdsIdle());
  EXPECT_FALSE(world.machine.sleepDisabled);
  world.startHelper();
  world.run(2);
  EXPECT_TRUE(world.machine.sleepDisabled);
}

TEST_F(AppCoordinatorTest, AHelperThatIsKilledIsInForceAgainWhenItRestartsWithinTheLease) {
  work();
  world.killHelper();
  EXPECT_FALSE(world.machine.sleepDisabled);
  world.killHost();
  world.startHelper();
  EXPECT_TRUE(world.machine.sleepDisabled) << "by its record alone, before anybody asks";
}

TEST_F(AppCoordinatorTest, AKilledHostLosesItsDeepHoldWithinTheLeaseAndOneWatchdogPeriod) {
  work();
  world.run(100);
  world.killHost();
  EXPECT_FALSE(world.machine.holdsIdle());
  world.run(54);
  EXPECT_TRUE(world.machine.sleepDisabled);
  world.run(11);
  EXPECT_FALSE(world.machine.sleepDisabled);
}

TEST_F(AppCoordinatorTest, AHangingHelperNeitherDelaysTheIdleHoldNorLosesTheRelease) {
  world.helperHangs = true;
  work();
  EXPECT_TRUE(world.machine.holdsIdle());
  world.run(10);
  set("masterEnabled", false);
  world.run(1);
  EXPECT_FALSE(world.machine.holdsIdle());
  world.helperHangs = false;
  world.run(5);
  EXPECT_FALSE(world.machine.sleepDisabled);
}

TEST_F(AppCoordinatorTest, StoppingReleasesBothAndLeavesThePublishedDecision) {
  work();
  bool released = false;
  world.event(AgentType::codex, AgentState::working);  // its evaluation waits
  world.host().stop([&] { released = true; });
  world.event(AgentType::gemini, AgentState::working);  // of a hook that was under way
  world.host().evaluate();
  world.run(0);
  EXPECT_TRUE(released);
  EXPECT_FALSE(world.machine.holdsIdle() || world.machine.sleepDisabled);
  EXPECT_TRUE(world.host().currentDecision.get().isHolding());
  world.machine.take();
  world.run(100);
  EXPECT_EQ(world.machine.take(), Actions{}) << "nothing goes on after the stop";
}

TEST_F(AppCoordinatorTest, ClockJumpsNeitherHoldForEverNorStopTheHost) {
  work();
  world.time.setWallClock(world.time.now() + 7200);  // as after a suspend
  world.run(40);
  EXPECT_FALSE(world.machine.holdsIdle()) << "nobody has heard of the session for two hours";
  work();
  world.time.setWallClock(world.time.now() - 86400);
  idle();
  world.run(40);
  EXPECT_FALSE(world.machine.holdsIdle());
}

TEST_F(AppCoordinatorTest, ForgottenSessionsLeaveTheTable) {
  idle();
  world.run(24 * 3600 - 10);
  EXPECT_EQ(world.host().activeSessionsList.get().size(), 1u);
  world.run(20);
  EXPECT_EQ(world.host().activeSessionsList.get().size(), 0u);

  for (int i = 0; i < 20010; ++i) world.event(AgentType::codex, AgentState::idle, "s" + std::to_string(i));
  work();
  world.run(2);
  const auto& sessions = world.host().activeSessionsList.get();
  EXPECT_EQ(sessions.size(), 20000u);
  EXPECT_EQ(sessions.front().state, AgentState::working) << "an active session is never forgotten";
}

TEST_F(AppCoordinatorTest, AnEventOfAStrangeTimeDoesNotDisturb) {
  for (const double seconds : {-1e300, -1.0, 1e300}) {
    world.event(AgentType::codex, AgentState::working, "odd");
    work();
    world.run(1);
    EXPECT_TRUE(world.machine.sleepDisabled) << seconds;
  }
}

}  // namespace
}  // namespace vigilo
