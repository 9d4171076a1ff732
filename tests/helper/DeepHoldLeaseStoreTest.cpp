#include "helper/DeepHoldLeaseStore.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/helper/RecordingPowerController.h"
#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

using Actions = std::vector<std::string>;
using Lines = std::vector<std::string>;

// A store over a file, with a machine and a clock of its own. `restart` is a new process on the same file.
class DeepHoldLeaseStoreTest : public testing::Test {
 protected:
  DeepHoldLeaseStoreTest() { restart(); }

  void restart() {
    store_ = std::make_unique<DeepHoldLeaseStore>(
        power_, folder_.path("state.json"), [this](const std::string&) { return mayWrite_; }, time_.clock(),
        time_.awakeClock());
    power_.take();
  }
  std::string file() const { return folder_.read("state.json"); }
  DeepSleepStatus status() {
    auto status = store_->status();
    power_.take();
    return status;
  }

  test::TempFolder folder_;
  test::VirtualTime time_{Date{1000}};
  test::RecordingPowerController power_;
  bool mayWrite_ = true;
  std::unique_ptr<DeepHoldLeaseStore> store_;
  test::MemorySink log_;
};

TEST_F(DeepHoldLeaseStoreTest, AHoldIsTakenSavedAndGivenBack) {
  EXPECT_TRUE(store_->acquire("a", 60.9));
  EXPECT_EQ(power_.take(), (Actions{"read", "disable sleep"}));
  EXPECT_EQ(file(), R"({"isHolding":true,"activeLeaseId":"a","expiresAt":1060.9,"ttlSeconds":60.9,)"
                    R"("originalSleepDisabled":false,"owesRestoration":true})");
  EXPECT_EQ(status(), (DeepSleepStatus{true, true, "a", Date{1060.9}, false, true}));

  EXPECT_TRUE(store_->release("a"));
  EXPECT_EQ(power_.take(), (Actions{"enable sleep"}));
  EXPECT_EQ(file(), R"({"isHolding":false,"originalSleepDisabled":false})");
  EXPECT_EQ(status(), (DeepSleepStatus{true, false, std::nullopt, std::nullopt, false, false}));
  EXPECT_EQ(log_.take(), (Lines{"info [lease] Acquired deep hold lease a (TTL: 60s, original: false)",
                                "info [lease] Restored system sleep state to original: sleep enabled"}));
}

TEST_F(DeepHoldLeaseStoreTest, ASettingThatSomebodyElseMadeIsLeftAlone) {
  power_.disabled = true;
  EXPECT_TRUE(store_->acquire("a", 60));
  EXPECT_FALSE(store_->checkWatchdog());
  EXPECT_TRUE(store_->acquire("b", 60));
  EXPECT_TRUE(store_->release(std::nullopt));
  EXPECT_EQ(power_.take(), (Actions{"read", "read", "read"})) << "looked at, never changed";
  EXPECT_EQ(status().originalSleepDisabledState, true);
  EXPECT_EQ(log_.take(), (Lines{"info [lease] Acquired deep hold lease a (TTL: 60s, original: true)",
                                "info [lease] Renewed existing deep hold with lease b",
                                "info [lease] Prior state was already sleep disabled, leaving untouched"}));
}

TEST_F(DeepHoldLeaseStoreTest, SecondAcquirerTakesTheHoldOver) {
  store_->acquire("a", 60);
  power_.take();
  log_.take();
  time_.advance(10);
  EXPECT_TRUE(store_->acquire("b", 90));
  EXPECT_EQ(power_.take(), (Actions{"ensure"}));
  EXPECT_EQ(status(), (DeepSleepStatus{true, true, "b", Date{1100}, false, true}));
  EXPECT_FALSE(store_->release("a"));
  EXPECT_EQ(power_.take(), Actions{});
  EXPECT_TRUE(store_->release("b"));
  EXPECT_EQ(log_.take(), (Lines{"info [lease] Renewed existing deep hold with lease b",
                                "error [lease] Release request for lease a ignored, active is b",
                                "info [lease] Restored system sleep state to original: sleep enabled"}));
}

TEST_F(DeepHoldLeaseStoreTest, ARenewalUnderAnyIdentifierExtendsAndBecomesTheActiveOne) {
  store_->acquire("a", 60);
  power_.take();
  log_.take();
  time_.advance(59);
  EXPECT_TRUE(store_->renew("", 60));
  EXPECT_EQ(power_.take(), Actions{});
  EXPECT_EQ(file(), R"({"isHolding":true,"activeLeaseId":"","expiresAt":1119.0,"ttlSeconds":60.0,)"
                    R"("originalSleepDisabled":false,"owesRestoration":true})");
  EXPECT_EQ(log_.take(), (Lines{"debug [lease] Renewed lease  until 2001-01-01 00:18:39 +0000"}));
  EXPECT_FALSE(store_->release("a"));
}

TEST_F(DeepHoldLeaseStoreTest, NothingIsDoneOrWrittenWhileIdle) {
  EXPECT_FALSE(store_->renew("a", 60));
  EXPECT_TRUE(store_->release("a"));
  EXPECT_TRUE(store_->release(std::nullopt));
  EXPECT_FALSE(store_->checkWatchdog());
  store_->retakeInheritedHold();
  EXPECT_EQ(power_.take(), Actions{});
  EXPECT_FALSE(std::filesystem::exists(folder_.path("state.json")));
  EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(DeepHoldLeaseStoreTest, TheWatchdogKeepsALiveHoldInForceAndEndsALapsedOneAtItsExpiry) {
  store_->acquire("a", 60);
  power_.take();
  log_.take();
  time_.advance(59.999);
  EXPECT_FALSE(store_->checkWatchdog());
  EXPECT_EQ(power_.take(), (Actions{"ensure"}));
  time_.advance(0.001);
  EXPECT_TRUE(store_->checkWatchdog());
  EXPECT_EQ(power_.take(), (Actions{"enable sleep"}));
  EXPECT_EQ(file(), R"({"isHolding":false,"originalSleepDisabled":false})");
  EXPECT_FALSE(store_->checkWatchdog());
  EXPECT_EQ(log_.take(),
            (Lines{"error [lease] Lease expired at 2001-01-01 00:17:40 +0000 (current time: 2001-01-01 "
                   "00:17:40 +0000). Watchdog releasing deep hold!",
                   "info [lease] Restored system sleep state to original: sleep enabled"}));
}

TEST_F(DeepHoldLeaseStoreTest, AHoldThatFailedToBeTakenIsTakenByALaterTick) {
  power_.works = false;
  EXPECT_TRUE(store_->acquire("a", 60));
  EXPECT_TRUE(status().isAskedForButNotInForce());
  power_.works = true;
  store_->checkWatchdog();
  EXPECT_FALSE(status().isAskedForButNotInForce());
}

TEST_F(DeepHoldLeaseStoreTest, AnInheritedHoldIsTakenAgainAndEndedWhenItsLeaseHasLapsed) {
  store_->acquire("a", 60);
  power_.disabled = false;  // The hold died with its process.
  restart();
  log_.take();
  EXPECT_EQ(status(), (DeepSleepStatus{true, true, "a", Date{1060}, false, false}));
  store_->retakeInheritedHold();
  EXPECT_EQ(power_.take(), (Actions{"ensure"}));

  time_.advance(60);
  restart();
  store_->retakeInheritedHold();
  EXPECT_EQ(power_.take(), Actions{});
  EXPECT_TRUE(store_->checkWatchdog());
  EXPECT_EQ(power_.take(), (Actions{"enable sleep"}));
}

TEST_F(DeepHoldLeaseStoreTest, AHoldOverSomebodyElsesSettingIsTakenOnceThatIsGone) {
  power_.disabled = true;
  folder_.write("state.json", R"({"isHolding":true,"originalSleepDisabled":true,"expiresAt":1060})");
  restart();
  store_->retakeInheritedHold();
  store_->checkWatchdog();
  EXPECT_EQ(power_.take(), (Actions{"read", "read"}));

  power_.disabled = false;
  store_->checkWatchdog();
  EXPECT_EQ(power_.take(), (Actions{"read", "disable sleep"}));
  store_->release(std::nullopt);
  EXPECT_EQ(power_.take(), (Actions{"enable sleep"}));
}

TEST_F(DeepHoldLeaseStoreTest, ALeaseLastsAsLongAsTheMachineIsAwakeWhateverTheClockIsSetTo) {
  for (const double step : {-7200.0, 2e9, -1e9, 7200.0}) {
    const Date set = time_.now() + step;
    store_->acquire("a", 60);
    time_.setWallClock(set);
    time_.advance(30);
    EXPECT_FALSE(store_->checkWatchdog()) << step;
    EXPECT_NEAR(*status().leaseExpiresAt - set, 60, 1e-3) << step;
    store_->renew("a", 60);
    time_.advance(59.9);
    EXPECT_FALSE(store_->checkWatchdog()) << step;
    time_.advance(0.1);
    EXPECT_TRUE(store_->checkWatchdog()) << step;
  }
}

TEST_F(DeepHoldLeaseStoreTest, AfterARestartTheDateCountsForNoMoreThanTheLeaseThatWasAskedFor) {
  store_->acquire("a", 60);
  time_.setWallClock(time_.now() - 7200);
  for (int restarts = 0; restarts < 2; ++restarts) {
    restart();
    store_->retakeInheritedHold();
    EXPECT_NEAR(*status().leaseExpiresAt - time_.now(), 60 - 30 * restarts, 1e-3) << "not anew";
    time_.advance(30);
  }
  EXPECT_TRUE(store_->checkWatchdog());

  folder_.write("state.json", R"({"isHolding":true,"originalSleepDisabled":false,"expiresAt":3e9})");
  restart();
  time_.advance(86399);
  EXPECT_FALSE(store_->checkWatchdog());
  time_.advance(1);
  EXPECT_TRUE(store_->checkWatchdog()) << "the longest lease, where the record does not say";
}

TEST_F(DeepHoldLeaseStoreTest, AHoldWithoutAnExpiryNeverLapses) {
  folder_.write("state.json", R"({"isHolding":true,"activeLeaseId":"a","originalSleepDisabled":false})");
  restart();
  time_.advance(1e6);
  EXPECT_FALSE(store_->checkWatchdog());
  EXPECT_EQ(power_.take(), (Actions{"ensure"}));
}

TEST_F(DeepHoldLeaseStoreTest, ADamagedFileCountsAsNone) {
  power_.disabled = true;
  const std::string deep(40000, '[');
  for (const std::string& content :
       {std::string(), std::string("null"), std::string("[]"), std::string("{\"isHolding\":true}"),
        std::string("{\"isHolding\":1,\"originalSleepDisabled\":false}"),
        std::string("{\"isHolding\":true,\"originalSleepDisabled\":false,\"expiresAt\":1e999}"),
        std::string("{\"isHolding\":true,\"originalSleepDisabled\":false,\"activeLeaseId\":\"\xFF\"}"), deep,
        std::string(1u << 20, ' ') + R"({"isHolding":true,"originalSleepDisabled":false})"}) {
    folder_.write("state.json", content);
    restart();
    EXPECT_EQ(status(), (DeepSleepStatus{true, false, std::nullopt, std::nullopt, true, true}));
    EXPECT_EQ(file(), content);  // Reading changes nothing.
  }
}

TEST_F(DeepHoldLeaseStoreTest, AbsurdExpiriesInTheFileLapseOrLastAndBreakNothing) {
  for (const auto& [expiry, lapses] : {std::pair{"-1.7e308", true}, {"1.7e308", false}, {"-0.0", true}}) {
    folder_.write(
        "state.json",
        std::string(R"({"isHolding":true,"originalSleepDisabled":false,"expiresAt":)") + expiry + "}");
    restart();
    EXPECT_EQ(store_->checkWatchdog(), lapses) << expiry;
    EXPECT_EQ(status().isDeepHoldActive, !lapses) << expiry;
    EXPECT_TRUE(store_->renew("a", 60) != lapses) << expiry;
  }
}

TEST_F(DeepHoldLeaseStoreTest, AFailingSaveIsSaidOnceAndTheRecordInMemoryRules) {
  mayWrite_ = false;
  EXPECT_TRUE(store_->acquire("a", 60));
  EXPECT_TRUE(store_->renew("a", 60));
  EXPECT_TRUE(status().isDeepHoldActive);
  mayWrite_ = true;
  EXPECT_TRUE(store_->release("a"));
  const std::string path = folder_.path("state.json");
  EXPECT_EQ(log_.take(),
            (Lines{"error [lease] Deep hold record not saved, going on with the one in memory: " + path +
                       ": Vigilo does not write here",
                   "info [lease] Acquired deep hold lease a (TTL: 60s, original: false)",
                   "debug [lease] Renewed lease a until 2001-01-01 00:17:40 +0000",
                   "info [lease] Deep hold record saved again",
                   "info [lease] Restored system sleep state to original: sleep enabled"}));
}

}  // namespace
}  // namespace vigilo
