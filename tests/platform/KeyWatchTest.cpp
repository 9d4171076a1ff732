#include "platform/linux/KeyWatch.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;

// A desktop whose services the test makes up.
struct Desktop {
  KeyMonitorState state{false, "absent"};
  KeySource::Next next = KeySource::Next::retryLater;
  int presses = 0;
  int living = 0;           // sources
  std::vector<long> begun;  // when, in milliseconds
};

class FakeSource final : public KeySource {
 public:
  explicit FakeSource(Desktop& desktop)
      : desktop_(desktop), next_(std::exchange(desktop.next, Next::retryLater)) {
    EXPECT_EQ(++desktop_.living, 1) << "the old one is gone before the new one asks";
  }
  ~FakeSource() override { --desktop_.living; }
  int descriptor() const override { return -1; }
  int process() override { return std::exchange(desktop_.presses, 0); }
  KeyMonitorState state() const override { return desktop_.state; }
  Next next() const override { return next_; }

 private:
  Desktop& desktop_;
  const Next next_;
};

class KeyWatchTest : public testing::Test {
 protected:
  void begin() {
    const Date start = time.now();
    token = KeyWatch::begin(
        *queue,
        [this, start] {
          desktop.begun.push_back(std::lround((time.now() - start) * 1000));
          return std::make_unique<FakeSource>(desktop);
        },
        {.pressed = [this] { told.push_back("pressed"); },
         .state = [this](const KeyMonitorState& state) { told.push_back(state.description); }});
    time.runUntilIdle();
  }

  test::VirtualTime time;
  std::unique_ptr<Queue> queue = time.queue("com.vigilo.shortcut");
  Desktop desktop;
  Lines told;
  CancelToken token;
};

TEST_F(KeyWatchTest, WhatIsAbsentIsTriedAtGrowingPausesAndToldOnce) {
  begin();
  time.advance(40);
  EXPECT_EQ(desktop.begun, (std::vector<long>{0, 1000, 3000, 7000, 15000, 25000, 35000}));
  EXPECT_EQ(told, Lines{"absent"});
  desktop = {.state = {true, "registered"}, .next = KeySource::Next::wait, .presses = 2, .living = 1};
  time.advance(1000);
  EXPECT_EQ(told, (Lines{"absent", "registered", "pressed", "pressed"}));
  EXPECT_EQ(desktop.begun.size(), 1u) << "what works is left alone";
}

TEST_F(KeyWatchTest, AServiceThatHasJustComeIsAskedAtOnce) {
  begin();
  time.advance(6);
  desktop.next = KeySource::Next::retryNow;
  time.advance(5);
  EXPECT_EQ(desktop.begun, (std::vector<long>{0, 1000, 3000, 7000, 7100, 8100, 10100}))
      << "and pauses grow anew";
}

TEST_F(KeyWatchTest, NothingIsKeptOrToldAfterTheEnd) {
  begin();
  token.reset();
  time.runUntilIdle();
  EXPECT_EQ(desktop.living, 0);
  desktop.state.description = "late";
  time.advance(100);
  EXPECT_EQ(told, Lines{"absent"});
  EXPECT_EQ(desktop.begun.size(), 1u);
}

}  // namespace
}  // namespace vigilo
