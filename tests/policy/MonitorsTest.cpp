#include <gtest/gtest.h>

#include "policy/BatteryMonitor.h"
#include "policy/ThermalMonitor.h"
#include "tests/support/MemorySink.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;

// A platform observer that the test fires by hand; it ends with its token.
class Event {
 public:
  CancelToken observe(Queue& queue, Task changed) {
    struct Token final : Cancellable {
      explicit Token(Event& owner) : event(owner) {}
      ~Token() override { event.changed_ = nullptr; }
      Event& event;
    };
    ++observers;
    changed_ = [&queue, changed = std::move(changed)] { queue.async(changed); };
    return std::make_unique<Token>(*this);
  }
  void fire() const {
    if (changed_) changed_();
  }
  int observers = 0;

 private:
  Task changed_;
};

class FakePowerSource final : public PowerSourceProvider {
 public:
  std::vector<PowerSourceDescription> copyPowerSources() override { return sources; }
  bool isLowPowerModeEnabled() override { return lowPower; }
  CancelToken observe(Queue& queue, Task changed) override {
    return event.observe(queue, std::move(changed));
  }
  std::vector<PowerSourceDescription> sources;
  bool lowPower = false;
  Event event;
};

class FakeThermalState final : public ThermalStateProvider {
 public:
  int thermalState() override { return state; }
  CancelToken observe(Queue& queue, Task changed) override {
    return event.observe(queue, std::move(changed));
  }
  std::string description() const override { return "fake"; }
  int state = 0;
  Event event;
};

PowerSourceDescription battery(const char* state, std::optional<std::int64_t> current) {
  PowerSourceDescription source;
  source.powerSourceState = state;
  source.isCharging = false;
  source.currentCapacity = current;
  source.maxCapacity = 100;
  return source;
}

class Monitors : public ::testing::Test {
 protected:
  test::MemorySink log;
  test::VirtualTime time;
  std::unique_ptr<Queue> queue = time.queue("main");
  FakePowerSource power;
  BatteryMonitor monitor{power, *queue, time.clock()};
};

TEST_F(Monitors, ThePowerSourceIsReadFieldByField) {
  struct Row {
    const char* name;
    PowerSourceDescription source;
    PowerSourceSnapshot expected;
  };
  const Row rows[] = {
      {"on battery", {"Battery Power", false, 57, 100, 90}, {57, false, false, true, 90}},
      {"57 of a missing maximum", {"AC Power", true, 57, {}, {}}, {57, true, true, true, {}}},
      {"a maximum of zero", {"AC Power", true, 57, 0, {}}, {{}, true, true, true, {}}},
      {"no capacity", {"AC Power", true, {}, 100, {}}, {{}, true, true, true, {}}},
      {"truncated, not rounded", {"AC Power", false, 2999, 10000, {}}, {29, false, true, true, {}}},
      {"still estimating", {"Battery Power", false, 29, 100, -1}, {29, false, false, true, {}}},
      {"time unknown", {"Battery Power", false, 58, 100, 0}, {58, false, false, true, {}}},
      {"an unknown state that charges", {"UPS Power", true, 5, 10, {}}, {50, true, false, true, {}}},
      {"absurd numbers",
       {"AC Power",
        {},
        std::numeric_limits<std::int64_t>::max(),
        1,
        std::numeric_limits<std::int64_t>::max()},
       {2147483647, false, true, true, 2147483647}},
  };
  power.lowPower = true;
  for (const Row& row : rows) {
    BatteryMonitor fresh(power, *queue, time.clock());
    power.sources = {{}, row.source, battery("AC Power", 1)};
    EXPECT_EQ(fresh.queryPowerSource(), row.expected) << row.name;
    EXPECT_EQ(fresh.currentSnapshot(), row.expected) << row.name;
  }
}

TEST_F(Monitors, AMachineIsADesktopOnlyUntilABatteryWasSeen) {
  power.lowPower = true;
  EXPECT_EQ(monitor.queryPowerSource(), PowerSourceSnapshot::desktopDefault());
  power.lowPower = false;
  power.sources = {{}};  // there, but it cannot be read
  EXPECT_EQ(monitor.queryPowerSource(), PowerSourceSnapshot{});
  power.sources = {};
  EXPECT_EQ(monitor.queryPowerSource(), PowerSourceSnapshot{});
}

TEST_F(Monitors, ABatteryThatWasTakenOutBlocksNothingOnMains) {
  const PowerSourceDescription mains{"AC Power", false, {}, {}, {}, false};
  power.sources = {mains};
  monitor.queryPowerSource();
  power.sources = {};
  EXPECT_EQ(monitor.queryPowerSource(), PowerSourceSnapshot::desktopDefault()) << "no battery was seen yet";
  power.sources = {battery("Battery Power", 40)};
  monitor.queryPowerSource();
  power.sources = {mains};
  EXPECT_TRUE(monitor.queryPowerSource().isOnAC);
  time.advance(61);
  EXPECT_EQ(monitor.queryPowerSource(), PowerSourceSnapshot::desktopDefault());
  power.sources = {};
  EXPECT_FALSE(monitor.queryPowerSource().isOnAC);
}

TEST_F(Monitors, AnUnreadableBatteryKeepsItsLastReadingForAMinute) {
  power.sources = {battery("AC Power", 40)};
  const auto reading = monitor.queryPowerSource();
  time.advance(10);
  power.sources = {{}};
  EXPECT_EQ(monitor.queryPowerSource(), reading);
  time.advance(49.9);
  EXPECT_EQ(monitor.currentSnapshot(), reading);
  time.advance(0.2);
  EXPECT_EQ(monitor.currentSnapshot(), PowerSourceSnapshot{});
}

TEST_F(Monitors, WhatCanStillBeReadIsNeverOverruledByAnOlderReading) {
  power.sources = {battery("AC Power", 40)};
  monitor.queryPowerSource();
  power.sources = {battery("Battery Power", std::nullopt)};
  EXPECT_EQ(monitor.queryPowerSource(), (PowerSourceSnapshot{40, false, false, false, {}}));
  time.setWallClock(time.now() - 3600);
  EXPECT_EQ(monitor.currentSnapshot(), PowerSourceSnapshot{}) << "a reading from the future has no age";
}

TEST_F(Monitors, ARefreshAfterASuspendTellsOnlyOfAChange) {
  FakeThermalState heat;
  ThermalMonitor thermal(heat, *queue);
  int calls = 0;
  monitor.onPowerSourceChanged([&](const PowerSourceSnapshot&) { ++calls; });
  thermal.onThermalStateChanged([&](SystemThermalState) { ++calls; });
  power.sources = {battery("AC Power", 80)};
  monitor.start();
  thermal.start();
  monitor.refresh();
  thermal.refresh();
  EXPECT_EQ(calls, 0);
  power.sources = {battery("Battery Power", 12)};
  heat.state = 3;
  monitor.refresh();
  thermal.refresh();
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(monitor.currentSnapshot().batteryPercent, 12);
  EXPECT_EQ(thermal.currentThermalState(), SystemThermalState::critical);
}

TEST_F(Monitors, TheThermalStateFollowsThePlatformFromStartToStop) {
  FakeThermalState heat;
  ThermalMonitor thermal(heat, *queue);
  std::vector<SystemThermalState> seen;
  thermal.onThermalStateChanged([&](SystemThermalState state) {
    EXPECT_EQ(thermal.currentThermalState(), state);
    seen.push_back(state);
  });
  thermal.start();
  thermal.start();
  EXPECT_EQ(heat.event.observers, 1);
  heat.state = 3;
  heat.event.fire();
  time.runUntilIdle();
  heat.state = 7;  // a state that nobody knows is no reason to block
  heat.event.fire();
  time.runUntilIdle();
  thermal.stop();
  EXPECT_EQ(seen, (std::vector{SystemThermalState::critical, SystemThermalState::nominal}));
  EXPECT_EQ(log.take(), (Lines{"info [thermal] Thermal monitor started observing thermal state",
                               "info [thermal] Thermal state changed to: critical",
                               "info [thermal] Thermal state changed to: nominal",
                               "info [thermal] Thermal monitor stopped"}));
}

}  // namespace
}  // namespace vigilo
