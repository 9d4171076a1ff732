#include "tests/support/VirtualTime.h"

#include <gtest/gtest.h>

#include <vector>

namespace vigilo {
namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

class VirtualTimeTest : public testing::Test {
 protected:
  Task note(std::string name) {
    return [this, name = std::move(name)] { calls.push_back(name); };
  }
  Names take() { return std::exchange(calls, {}); }

  test::VirtualTime time;
  const std::unique_ptr<Queue> a = time.queue("a");
  std::unique_ptr<Queue> b = time.queue("b");
  Names calls;
};

TEST_F(VirtualTimeTest, TasksRunByDueTimeAndThenInTheOrderInWhichTheyWereAdded) {
  a->asyncAfter(2s, note("late"));
  b->asyncAfter(1s, note("early"));
  a->async(note("now 1"));
  b->async([this] {
    note("now 2")();
    a->async(note("added on the way"));
  });
  a->async(note("now 3"));
  EXPECT_EQ(take(), Names{});
  time.runUntilIdle();
  EXPECT_EQ(take(), (Names{"now 1", "now 2", "now 3", "added on the way"}));
  time.advance(2);
  EXPECT_EQ(take(), (Names{"early", "late"}));
}

TEST_F(VirtualTimeTest, ATimerKeepsItsRhythmUntilItsTokenGoes) {
  const Date start = time.now();
  std::vector<double> at;
  CancelToken token;
  token = a->timer(500ms, 1s, [&] {
    at.push_back(time.now() - start);
    if (at.size() == 3) token.reset();
  });
  const CancelToken once = b->timer(1s, 0s, note("once"));
  time.advance(10);
  EXPECT_EQ(at, (std::vector{0.5, 1.5, 2.5}));
  EXPECT_EQ(take(), Names{"once"});
}

TEST_F(VirtualTimeTest, TheWallClockMovesWithoutTheTimers) {
  const CancelToken timer = a->timer(10s, 0s, note("due"));
  time.setWallClock(time.now() + 3600);
  time.advance(9);
  EXPECT_EQ(take(), Names{});
  time.setWallClock(time.now() - 7200);
  time.advance(1);
  EXPECT_EQ(take(), Names{"due"});
}

TEST_F(VirtualTimeTest, SyncRunsAfterWhatWaitsOnItsQueueAndBeforeTheOthers) {
  b->async(note("other"));
  a->async(note("first"));
  a->asyncAfter(1s, note("later"));
  a->sync([this] {
    EXPECT_TRUE(a->isCurrent());
    note("sync")();
  });
  EXPECT_FALSE(a->isCurrent());
  EXPECT_EQ(take(), (Names{"first", "sync"}));
  time.advance(1);
  EXPECT_EQ(take(), (Names{"other", "later"}));
}

TEST_F(VirtualTimeTest, WhatWaitsOnAQueueGoesWithIt) {
  b->async(note("never"));
  b.reset();
  time.advance(1);
  EXPECT_EQ(take(), Names{});
}

}  // namespace
}  // namespace vigilo
