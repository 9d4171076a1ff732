#include <gtest/gtest.h>

#include "helper/DeepHoldLeaseStore.h"
#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

struct Killed {};  // thrown where a kill would end the helper

enum class Fault { fails, failsAfterItsWork, kills, killsAfterItsWork };

// What goes wrong at which of the helper's steps: each run of the tool and each save is one.
struct Faults {
  struct Range {
    int first, last;
    Fault fault;
  };
  std::vector<Range> ranges;
  int step = 0;

  std::optional<Fault> next() {
    const int now = step++;
    for (const Range& range : ranges) {
      if (now >= range.first && now <= range.last) return range.fault;
    }
    return std::nullopt;
  }
};

// A setting that outlives the helper, and the tool that reads and writes it.
class Tool final : public SystemPowerControlling {
 public:
  Tool(Faults& faults, bool& setting) : faults_(faults), setting_(setting) {}

  std::optional<bool> readSleepDisabled() override {
    const auto fault = faults_.next();
    if (fault && *fault >= Fault::kills) throw Killed();
    return fault ? std::nullopt : std::optional(setting_);
  }
  bool writeSleepDisabled(bool disabled) override {
    const auto fault = faults_.next();
    if (fault == Fault::kills) throw Killed();
    if (fault != Fault::fails) setting_ = disabled;
    if (fault == Fault::killsAfterItsWork) throw Killed();
    return !fault;
  }
  bool outlivesProcess() const override { return true; }
  std::string description() const override { return "memory"; }

 private:
  Faults& faults_;
  bool& setting_;
};

class OwedRestorationTest : public testing::Test {
 protected:
  // A machine on which the user has, or has not, disabled sleep, and no helper has run yet.
  void begin(bool usersSetting, Faults faults) {
    setting_ = usersSetting;
    faults_ = std::move(faults);
    std::filesystem::remove(folder_.path("state.json"));
    surviving([this] { start(); });
  }

  // The helper's step; one that kills it is followed by a start, which may be killed too.
  void surviving(const std::function<void()>& step) {
    for (std::function<void()> next = step;; next = [this] { start(); }) {
      try {
        return next();
      } catch (const Killed&) {
      }
    }
  }

  void start() {
    store_ = std::make_unique<DeepHoldLeaseStore>(
        tool_, folder_.path("state.json"),
        [this](const std::string&) {
          const auto fault = faults_.next();
          if (fault && *fault >= Fault::kills) throw Killed();
          return !fault;
        },
        time_.clock(), time_.awakeClock());
    store_->retakeInheritedHold();
  }

  void tick() {
    time_.advance(5);
    surviving([this] { store_->checkWatchdog(); });
  }

  // A hold from its begin to its end by the host, with ticks between.
  void live() {
    surviving([this] { store_->acquire("a", 60); });
    tick();
    surviving([this] { store_->renew("a", 60); });
    tick();
    surviving([this] { store_->release("a"); });
    tick();
  }

  test::TempFolder folder_;
  test::VirtualTime time_{Date{1000}};
  bool setting_ = false;
  Faults faults_;
  Tool tool_{faults_, setting_};
  std::unique_ptr<DeepHoldLeaseStore> store_;
  test::MemorySink quiet_;
};

TEST_F(OwedRestorationTest, WhateverGoesWrongTheUsersSettingStandsInTheEnd) {
  constexpr Fault faults[] = {Fault::fails, Fault::failsAfterItsWork, Fault::kills, Fault::killsAfterItsWork};
  for (const bool usersSetting : {false, true}) {
    begin(usersSetting, {});
    live();
    const int steps = faults_.step;
    ASSERT_GE(steps, 7);
    for (const Fault fault : faults)
      for (int first = 0; first <= steps; ++first)
        for (const int length : {1, 2, 4})
          for (int kill = first + length; kill <= steps + 1; ++kill) {
            const int last = first + length - 1;
            SCOPED_TRACE(testing::Message()
                         << "own setting " << usersSetting << ", fault " << static_cast<int>(fault) << " at "
                         << first << " to " << last << ", killed at " << kill);
            begin(usersSetting, {{{first, last, fault}, {kill, kill, Fault::killsAfterItsWork}}});
            live();
            for (int ticks = 0; ticks < 15; ++ticks) tick();
            ASSERT_EQ(setting_, usersSetting);
            ASSERT_EQ(folder_.read("state.json").find("owes"), std::string::npos);
            ASSERT_FALSE(store_->isHolding());
          }
  }
}

TEST_F(OwedRestorationTest, AHoldThatIsAskedForIsPutInForceAsSoonAsTheFaultsEnd) {
  for (int first = 0; first <= 6; ++first) {
    for (const Fault fault : {Fault::fails, Fault::failsAfterItsWork}) {
      begin(false, {{{first, first + 6, fault}}});
      surviving([this] { store_->acquire("a", 60); });
      for (int ticks = 0; ticks < 10; ++ticks) tick();
      EXPECT_TRUE(setting_) << first;
      setting_ = false;  // Somebody switches it off.
      tick();
      EXPECT_TRUE(setting_) << first;
      store_->release("a");
      EXPECT_FALSE(setting_) << first;
    }
  }
}

TEST_F(OwedRestorationTest, ALostRecordIsWrittenAgainAndNothingIsChangedWithoutOne) {
  begin(false, {});
  store_->acquire("a", 60);
  std::filesystem::remove(folder_.path("state.json"));
  tick();
  start();
  tick();
  EXPECT_TRUE(store_->isHolding());

  begin(false, {{{2, 1000, Fault::fails}}});
  faults_.ranges[0].first = faults_.step + 1;  // from the save that follows the reading
  store_->acquire("a", 60);
  EXPECT_TRUE(store_->isHolding());
  EXPECT_FALSE(setting_);
}

TEST_F(OwedRestorationTest, AnOlderRecordOwesWhereItsHoldChangedTheSetting) {
  for (const bool original : {false, true}) {
    begin(true, {});
    folder_.write("state.json", std::string(R"({"isHolding":true,"activeLeaseId":"a","expiresAt":900,)") +
                                    R"("originalSleepDisabled":)" + (original ? "true}" : "false}"));
    start();
    tick();
    EXPECT_EQ(setting_, original);
  }
}

}  // namespace
}  // namespace vigilo
