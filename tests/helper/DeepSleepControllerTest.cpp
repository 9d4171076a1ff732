#include "helper/DeepSleepController.h"

#include <gtest/gtest.h>

#include <set>

#include "support/RecordCoder.h"
#include "tests/support/MemorySink.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

using test::MemorySink;
using test::VirtualTime;

// A helper that records what it is sent and answers as told, at once or after a delay.
class FakeHelper final : public HelperTransport {
 public:
  explicit FakeHelper(Queue& queue) : queue_(queue) {}

  bool exists(const std::string& path) override { return files.contains(path); }
  void exchange(const std::string& path, const std::string& request, Completion done) override {
    const auto decoded = decodeRecord<HelperRequest>(request);
    ASSERT_TRUE(decoded);
    std::string entry = path + " " + std::string(rawValue(decoded->command));
    if (decoded->ttlSeconds) entry += " " + std::to_string(static_cast<int>(*decoded->ttlSeconds));
    if (decoded->leaseId) leases.insert(*decoded->leaseId);
    sent.push_back(entry);
    const Outcome outcome = silent.contains(path)      ? Outcome::failed
                            : listening.contains(path) ? Outcome::answered
                                                       : Outcome::refused;
    const std::string reply =
        encodeRecord(HelperResponse{ok, DeepSleepStatus{.isHelperInstalled = true}, {}});
    queue_.asyncAfter(delay,
                      [done, outcome, reply] { done(outcome, outcome == Outcome::answered ? reply : ""); });
  }

  std::vector<std::string> take() { return std::exchange(sent, {}); }

  std::set<std::string> files{"/root.sock"};
  std::set<std::string> listening{"/root.sock"};
  std::set<std::string> silent;  // that take requests and do not answer
  bool ok = true;
  Duration delay{};
  std::vector<std::string> sent;
  std::set<std::string> leases;

 private:
  Queue& queue_;
};

class DeepSleepControllerTest : public testing::Test {
 protected:
  using Sent = std::vector<std::string>;

  void acquire(double seconds = 60) {
    controller.acquire(seconds, [this](bool taken) { results.push_back(taken); });
    time.runUntilIdle();
  }
  void release() {
    controller.release([] {});
    time.runUntilIdle();
  }

  MemorySink log;
  VirtualTime time;
  std::unique_ptr<Queue> queue = time.queue("com.vigilo.deepsleepcontroller");
  FakeHelper helper{*queue};
  DeepSleepController controller{*queue, helper, {"/root.sock", "/home.sock"}};
  std::vector<bool> results;
};

TEST_F(DeepSleepControllerTest, RenewsEveryQuarterOfTheLeaseButNotMoreOftenThanEveryFiveSeconds) {
  acquire(120);
  helper.take();
  time.advance(29.9);
  EXPECT_EQ(helper.take(), Sent{});
  time.advance(30.2);
  EXPECT_EQ(helper.take(), (Sent{"/root.sock renew 120", "/root.sock renew 120"}));
  acquire(8);
  EXPECT_EQ(helper.take(), Sent{"/root.sock acquire 8"});
  time.advance(10.1);
  EXPECT_EQ(helper.take(), (Sent{"/root.sock renew 8", "/root.sock renew 8"}));
  EXPECT_EQ(helper.leases.size(), 1u) << "one lease from first to last";
}

TEST_F(DeepSleepControllerTest, AnswersFromMemoryForFiveSecondsAfterASuccess) {
  acquire();
  time.advance(4.9);
  acquire();
  EXPECT_EQ(helper.take(), Sent{"/root.sock acquire 60"});
  time.advance(0.2);
  acquire();
  EXPECT_EQ(helper.take(), Sent{"/root.sock acquire 60"});
  EXPECT_EQ(results, (std::vector{true, true, true}));
}

TEST_F(DeepSleepControllerTest, AcquisitionsFoldWhileOneIsOnItsWayAndTheReleaseRunsAfterThem) {
  helper.delay = std::chrono::seconds(1);
  helper.ok = false;
  for (int i = 0; i < 10; ++i) acquire();
  release();
  acquire();
  time.advance(10);
  EXPECT_EQ(helper.take(), (Sent{"/root.sock acquire 60", "/root.sock acquire 60", "/root.sock release",
                                 "/root.sock acquire 60"}));
  EXPECT_EQ(results, std::vector<bool>(11, false)) << "each caller is answered";
}

TEST_F(DeepSleepControllerTest, ReleaseEndsRenewalsAndForgetsTheLease) {
  acquire();
  EXPECT_TRUE(controller.isDeepHoldActive());
  release();
  EXPECT_FALSE(controller.isDeepHoldActive());
  time.advance(100);
  EXPECT_EQ(helper.take(), (Sent{"/root.sock acquire 60", "/root.sock release"}));
  release();
  EXPECT_EQ(helper.take(), Sent{}) << "nothing was held";
  acquire();
  EXPECT_EQ(helper.leases.size(), 2u) << "the next hold has a lease of its own";
}

TEST_F(DeepSleepControllerTest, AFailedAcquireStillOwesARelease) {
  helper.ok = false;
  acquire();
  EXPECT_TRUE(controller.isDeepHoldActive());
  release();
  EXPECT_EQ(helper.take(), (Sent{"/root.sock acquire 60", "/root.sock release"}));
}

TEST_F(DeepSleepControllerTest, ARefusedConnectionOnTheFirstPathMeansTheSecond) {
  helper.listening = {"/home.sock"};
  acquire();
  EXPECT_EQ(helper.take(), (Sent{"/root.sock acquire 60", "/home.sock acquire 60"}));
  helper.listening.insert("/root.sock");
  time.advance(6);
  acquire();
  EXPECT_EQ(helper.take(), Sent{"/home.sock acquire 60"}) << "a held lease stays with its helper";
  release();
  helper.take();
  acquire();
  EXPECT_EQ(helper.take(), Sent{"/root.sock acquire 60"}) << "without a lease the path is chosen anew";
}

TEST_F(DeepSleepControllerTest, ALeaseIsReleasedWhereItIsHeldAlsoWhenAnotherHelperHasCome) {
  helper.listening = {"/home.sock"};
  helper.files.clear();
  acquire();
  helper.silent = {"/home.sock"};  // it hangs, and one is installed for the whole machine
  helper.listening.insert("/root.sock");
  helper.files.insert("/root.sock");
  time.advance(5);
  acquire();
  helper.take();
  release();
  EXPECT_EQ(helper.take(), Sent{"/home.sock release"});

  // The same, but the other one grants the next lease before the end.
  helper.silent.clear();
  helper.files.clear();
  acquire();
  EXPECT_EQ(helper.take(), Sent{"/home.sock acquire 60"});
  helper.silent = {"/home.sock"};
  helper.files.insert("/root.sock");
  time.advance(5);
  acquire();
  acquire();
  EXPECT_EQ(helper.take(), (Sent{"/home.sock acquire 60", "/root.sock acquire 60"}));
  helper.silent.clear();
  time.advance(5.1);
  EXPECT_EQ(helper.take(), Sent{"/home.sock release"}) << "it may hold the lease for a minute";
  time.advance(15);
  EXPECT_EQ(helper.take(), Sent{"/root.sock renew 60"});
}

TEST_F(DeepSleepControllerTest, AReleaseIsOwedUntilItIsAnsweredOrTheLeaseHasLapsed) {
  for (const bool answersAgain : {true, false}) {
    acquire();
    helper.listening.clear();  // it is being restarted
    helper.take();
    release();
    time.advance(19);
    EXPECT_EQ(helper.take(), Sent(4, "/root.sock release"));
    if (answersAgain) helper.listening = {"/root.sock"};
    time.advance(200);
    EXPECT_EQ(helper.take().size(), answersAgain ? 1u : 10u);
    helper.listening = {"/root.sock"};
  }
  acquire();
  helper.silent = {"/root.sock"};
  release();
  helper.silent.clear();
  helper.take();
  acquire();
  time.advance(10);
  EXPECT_EQ(helper.take(), Sent{"/root.sock acquire 60"}) << "its helper has granted the next lease";
}

TEST_F(DeepSleepControllerTest, WithoutAHelperTheStatusSaysSoAndTheFailureIsLoggedOnce) {
  helper.listening.clear();
  helper.files.clear();
  std::optional<DeepSleepStatus> status;
  controller.status([&](DeepSleepStatus answer) { status = std::move(answer); });
  for (int i = 0; i < 5; ++i) acquire();
  EXPECT_EQ(status, DeepSleepStatus{});
  EXPECT_EQ(log.take(), (Sent{"error [deepsleep] Failed to acquire deep hold from helper"}));
  EXPECT_EQ(helper.take().front(), "/home.sock status") << "no file at the first path";
}

TEST_F(DeepSleepControllerTest, ASocketFileWithoutADaemonShowsAsInstalledButInactive) {
  helper.listening.clear();
  helper.files = {"/root.sock", "/home.sock"};
  std::optional<DeepSleepStatus> status;
  controller.status([&](DeepSleepStatus answer) { status = std::move(answer); });
  time.runUntilIdle();
  EXPECT_EQ(status, DeepSleepStatus{.isHelperInstalled = true});
}

}  // namespace
}  // namespace vigilo
