#include "policy/IdleWakeAssertionController.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/support/MemorySink.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;

// Counts identifiers up from 1 and keeps the ordered list of what was asked.
class RecordingAssertions final : public PowerAssertions {
 public:
  Result<std::uint32_t, PowerAssertionError> create(PowerAssertionType type,
                                                    const std::string& name) override {
    const bool display = type == PowerAssertionType::preventUserIdleDisplaySleep;
    const int code = display ? displayCode : systemCode;
    actions_.push_back((code == 0 ? "create " : "refuse ") + std::string(display ? "display" : "system") +
                       " " + name);
    if (code != 0) return PowerAssertionError{code};
    standing.insert(++last_);
    return last_;
  }
  void release(std::uint32_t identifier) override {
    actions_.push_back("release " + std::to_string(identifier));
    standing.erase(identifier);
  }
  bool stands(std::uint32_t identifier) override { return standing.contains(identifier); }
  std::string description() const override { return "memory"; }

  Lines take() { return std::exchange(actions_, {}); }

  int systemCode = 0, displayCode = 0;
  std::set<std::uint32_t> standing;

 private:
  Lines actions_;
  std::uint32_t last_ = 0;
};

class IdleWakeAssertions : public ::testing::Test {
 protected:
  test::MemorySink log;
  const std::shared_ptr<RecordingAssertions> service = std::make_shared<RecordingAssertions>();
  RecordingAssertions& assertions = *service;
  IdleWakeAssertionController controller{service};
};

TEST_F(IdleWakeAssertions, OneAcquisitionHoldsUntilItsReleaseWhateverTheReasonOfLaterCalls) {
  EXPECT_TRUE(controller.acquire("Claude Code working", false));
  EXPECT_TRUE(controller.acquire("Cursor working", false));
  EXPECT_TRUE(controller.isActive());
  controller.release();
  controller.release();
  EXPECT_FALSE(controller.isActive());
  EXPECT_EQ(assertions.take(), (Lines{"create system Vigilo: Claude Code working", "release 1"}));
  EXPECT_EQ(log.take(), (Lines{"info [power] Acquired PreventUserIdleSystemSleep assertion ID: 1 reason: "
                               "Claude Code working",
                               "info [power] Released PreventUserIdleSystemSleep assertion ID: 1"}));
}

TEST_F(IdleWakeAssertions, AChangeOfTheDisplayTakesTheNewBeforeItDropsTheOld) {
  controller.acquire("a", true);
  EXPECT_EQ(assertions.take(), (Lines{"create system Vigilo: a", "create display Vigilo: a"}));
  EXPECT_EQ(log.take(), (Lines{"info [power] Acquired PreventUserIdleSystemSleep assertion ID: 1 reason: a",
                               "info [power] Acquired PreventUserIdleDisplaySleep assertion ID: 2"}));
  controller.acquire("b", false);
  EXPECT_EQ(assertions.take(), (Lines{"create system Vigilo: b", "release 1", "release 2"}));
  EXPECT_EQ(log.take(),
            (Lines{"info [power] Released PreventUserIdleSystemSleep assertion ID: 1",
                   "info [power] Released PreventUserIdleDisplaySleep assertion ID: 2",
                   "info [power] Acquired PreventUserIdleSystemSleep assertion ID: 3 reason: b"}));
  controller.acquire("c", true);
  EXPECT_EQ(assertions.take(), (Lines{"create system Vigilo: c", "create display Vigilo: c", "release 3"}));
}

TEST_F(IdleWakeAssertions, WhatTheServiceLostIsTakenAgain) {
  controller.acquire("a", true);
  assertions.take();
  for (const std::uint32_t lost : {1u, 4u}) {  // the system's, then the display's of the next pair
    assertions.standing.erase(lost);
    EXPECT_TRUE(controller.acquire("a", true));
    const auto actions = assertions.take();
    ASSERT_EQ(actions.size(), 4u);
    EXPECT_EQ(actions[0], "create system Vigilo: a");
    EXPECT_EQ(actions[1], "create display Vigilo: a");
    EXPECT_TRUE(controller.acquire("a", true));
    EXPECT_EQ(assertions.take(), Lines{});
  }
}

TEST_F(IdleWakeAssertions, ARepeatedFailureOfTheSystemAssertionIsTriedAgainAndLoggedOnce) {
  assertions.systemCode = 13;
  for (int second = 0; second < 3; ++second) EXPECT_FALSE(controller.acquire("a", true));
  EXPECT_FALSE(controller.isActive());
  EXPECT_EQ(assertions.take(), Lines(3, "refuse system Vigilo: a"));
  EXPECT_EQ(log.take(), Lines{"error [power] Failed to acquire PreventUserIdleSystemSleep assertion: 13"});
  assertions.systemCode = 110;
  controller.acquire("a", false);
  EXPECT_EQ(log.take(), Lines{"error [power] Failed to acquire PreventUserIdleSystemSleep assertion: 110"});
  assertions.systemCode = 0;
  EXPECT_TRUE(controller.acquire("a", false));
  EXPECT_EQ(log.take(), Lines{"info [power] Acquired PreventUserIdleSystemSleep assertion ID: 1 reason: a"});
}

TEST_F(IdleWakeAssertions, AFailedExchangeLeavesNothingHeld) {
  controller.acquire("a", false);
  assertions.systemCode = 5;
  EXPECT_FALSE(controller.acquire("a", true));
  EXPECT_FALSE(controller.isActive());
  EXPECT_TRUE(assertions.standing.empty());
}

TEST_F(IdleWakeAssertions, AFailingDisplayAssertionLeavesTheSystemAssertionAlone) {
  assertions.displayCode = 2;
  for (int second = 0; second < 3; ++second) EXPECT_TRUE(controller.acquire("a", true));
  EXPECT_EQ(assertions.take(), (Lines{"create system Vigilo: a", "refuse display Vigilo: a",
                                      "refuse display Vigilo: a", "refuse display Vigilo: a"}));
  EXPECT_EQ(log.take(), (Lines{"info [power] Acquired PreventUserIdleSystemSleep assertion ID: 1 reason: a",
                               "error [power] Failed to acquire PreventUserIdleDisplaySleep assertion: 2"}));
  assertions.displayCode = 0;
  EXPECT_TRUE(controller.acquire("b", true));
  EXPECT_EQ(assertions.take(), Lines{"create display Vigilo: a"});
  EXPECT_EQ(log.take(), Lines{"info [power] Acquired PreventUserIdleDisplaySleep assertion ID: 2"});
}

TEST(IdleWakeAssertionController, DropsWhatItHoldsAtItsEndThoughItOutlivesEverybodyElse) {
  auto service = std::make_shared<RecordingAssertions>();
  const std::weak_ptr<RecordingAssertions> serviceLives = service;
  auto controller = std::make_unique<IdleWakeAssertionController>(std::move(service));
  controller->acquire("a", true);
  ASSERT_FALSE(serviceLives.expired());
  auto& standing = serviceLives.lock()->standing;
  EXPECT_EQ(standing.size(), 2u);
  const auto kept = serviceLives.lock();
  controller.reset();
  EXPECT_TRUE(standing.empty());
}

}  // namespace
}  // namespace vigilo
