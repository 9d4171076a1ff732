#include "helper/HelperRequestHandler.h"

#include <gtest/gtest.h>

#include <random>

#include "support/RecordCoder.h"
#include "tests/helper/RecordingPowerController.h"
#include "tests/support/MemorySink.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

constexpr uid_t user = 1000;
constexpr uid_t otherUser = 1001;
constexpr uid_t root = 0;

class HelperRequestHandlerTest : public testing::Test {
 protected:
  HelperRequestHandlerTest() { restart(); }

  // A new process: it inherits the hold that `record` describes, not whose it is.
  void restart(bool holding = false) {
    const test::MemorySink quiet;
    store_ = std::make_unique<DeepHoldLeaseStore>(power_, std::nullopt, nullptr, time_.clock(),
                                                  time_.awakeClock());
    if (holding) store_->acquire("inherited", 60);
    handler_ = std::make_unique<HelperRequestHandler>(*store_);
  }
  HelperReply handle(std::string_view bytes, std::optional<uid_t> peer = user) {
    return handler_->handle(bytes, peer);
  }
  HelperResponse ask(std::string_view bytes, std::optional<uid_t> peer = user) {
    const auto response = decodeRecord<HelperResponse>(handle(bytes, peer).bytes);
    if (!response) throw std::runtime_error(response.error().description);
    return *response;
  }

  test::VirtualTime time_{Date{1000}};
  test::RecordingPowerController power_;
  std::unique_ptr<DeepHoldLeaseStore> store_;
  std::unique_ptr<HelperRequestHandler> handler_;
};

TEST_F(HelperRequestHandlerTest, AnswersCarryWhatTheLeaseStoreSaysAndOmitWhatIsAbsent) {
  EXPECT_EQ(handle(R"({"command":"status"})").bytes,
            R"({"ok":true,"status":{"isHelperInstalled":true,"isDeepHoldActive":false,)"
            R"("originalSleepDisabledState":false,"currentSystemSleepDisabled":false}})");
  EXPECT_EQ(handle(R"({"leaseId":"a","ttlSeconds":90,"command":"acquire","unknown":[{}]})").bytes,
            R"({"ok":true,"status":{"isHelperInstalled":true,"isDeepHoldActive":true,"activeLeaseId":"a",)"
            R"("leaseExpiresAt":1090.0,"originalSleepDisabledState":false,)"
            R"("currentSystemSleepDisabled":true,"holderUserId":1000}})");
}

TEST_F(HelperRequestHandlerTest, WhatIsLeftOutMeansAFreshIdentifierAndSixtySeconds) {
  const auto first = ask(R"({"command":"acquire","leaseId":null,"ttlSeconds":null})").status;
  EXPECT_EQ(first->activeLeaseId.value().size(), 36u);
  EXPECT_EQ(first->leaseExpiresAt, Date{1060});
  EXPECT_NE(ask(R"({"command":"acquire"})").status->activeLeaseId, first->activeLeaseId);

  const auto renewed = ask(R"({"command":"renew"})");
  EXPECT_TRUE(renewed.ok);
  EXPECT_EQ(renewed.status->activeLeaseId, "");
  EXPECT_TRUE(ask(R"({"command":"release"})").ok);
  EXPECT_FALSE(ask(R"({"command":"renew"})").ok);
}

TEST_F(HelperRequestHandlerTest, OnlyUninstallAsksForTheEndAndReleasesWhateverIsHeld) {
  ask(R"({"command":"acquire","leaseId":"a"})");
  for (const char* command : {"status", "acquire", "renew", "release"}) {
    EXPECT_FALSE(handle(std::string(R"({"command":")") + command + "\"}").uninstallAsked) << command;
  }
  ask(R"({"command":"acquire","leaseId":"a"})");
  const auto reply = handle(R"({"command":"uninstall","leaseId":"b"})");
  EXPECT_TRUE(reply.uninstallAsked);
  EXPECT_TRUE(decodeRecord<HelperResponse>(reply.bytes)->ok);
  EXPECT_FALSE(store_->isHolding());
}

TEST_F(HelperRequestHandlerTest, WhatIsNoRequestIsRefusedAndChangesNothing) {
  const std::string deep = R"({"command":"acquire","x":)" + std::string(8000, '[');
  const std::string bytes[] = {"",
                               "{",
                               "null",
                               "[]",
                               "\"status\"",
                               "{}",
                               R"({"command":null})",
                               R"({"command":1})",
                               R"({"command":"Status"})",
                               R"({"command":"reboot"})",
                               R"({"command":"status"}{"command":"status"})",
                               R"({"command":"acquire","leaseId":7})",
                               R"({"command":"acquire","ttlSeconds":"60"})",
                               R"({"command":"acquire","ttlSeconds":true})",
                               R"({"command":"acquire","ttlSeconds":1e999})",
                               R"({"command":"acquire","ttlSeconds":NaN})",
                               R"({"command":"acquire","ttlSeconds":1e300})",
                               R"({"command":"acquire","ttlSeconds":-1e300})",
                               R"({"command":"acquire","ttlSeconds":86400.001})",
                               R"({"command":"renew","ttlSeconds":86401})",
                               R"({"command":"acquire","leaseId":")" + std::string(257, 'x') + "\"}",
                               "{\"command\":\"acquire\",\"leaseId\":\"\xC3\x28\"}",
                               std::string("{\"command\":\"acquire\"}\0", 22),
                               deep,
                               deep + std::string(8000, ']') + "}garbage"};
  for (const bool holding : {false, true}) {
    restart(holding);
    const auto before = store_->status();
    power_.take();
    for (const auto& request : bytes) {
      const auto response = ask(request);
      EXPECT_FALSE(response.ok) << request;
      EXPECT_FALSE(response.status) << request;
      EXPECT_TRUE(response.error.value_or("").starts_with("Invalid helper command: ")) << request;
    }
    EXPECT_EQ(power_.take(), std::vector<std::string>{});
    EXPECT_EQ(store_->status(), before);
  }
}

TEST_F(HelperRequestHandlerTest, TimesToLiveUpToADayAreTakenAndIgnoredWhereTheyDoNotCount) {
  for (const char* ttl : {"86400", "0", "-5", "0.25", "6e1"}) {
    EXPECT_TRUE(ask(std::string(R"({"command":"acquire","ttlSeconds":)") + ttl + "}").ok) << ttl;
  }
  for (const char* command : {"status", "release", "uninstall"}) {
    EXPECT_TRUE(ask(std::string(R"({"command":")") + command + R"(","ttlSeconds":1e300})").ok) << command;
  }
}

TEST_F(HelperRequestHandlerTest, RandomAndDamagedBytesNeverBreakTheHandler) {
  const test::MemorySink quiet;
  std::mt19937 random(20261121);
  const std::string valid = R"({"command":"acquire","leaseId":"\u00e9\ud83d\ude00","ttlSeconds":12.5e0})";
  const auto pick = [&](std::size_t below) {
    return std::uniform_int_distribution<std::size_t>(0, below - 1)(random);
  };
  for (int round = 0; round < 20000; ++round) {
    std::string bytes = valid;
    if (round % 4 == 0) {
      bytes.assign(pick(64), '\0');
      for (char& byte : bytes) byte = static_cast<char>(pick(256));
    } else {
      bytes.resize(1 + pick(valid.size()));
      for (std::size_t changes = pick(4); changes > 0; --changes)
        bytes[pick(bytes.size())] = static_cast<char>(pick(256));
    }
    const auto response = ask(bytes);
    ASSERT_NE(response.status.has_value(), response.error.has_value()) << bytes;
  }
}

TEST_F(HelperRequestHandlerTest, AHoldBelongsToTheUserWhoAcquiredItRootAside) {
  ask(R"({"command":"acquire","leaseId":"a"})", user);
  auto before = store_->status();
  before.holderUserId = user;
  power_.take();
  for (const char* command : {"acquire", "renew", "release", "uninstall"}) {
    const std::string request = std::string(R"({"command":")") + command + R"(","leaseId":"a"})";
    for (const std::optional<uid_t> stranger : {std::optional<uid_t>(otherUser), std::optional<uid_t>()}) {
      const auto reply = handle(request, stranger);
      EXPECT_EQ(decodeRecord<HelperResponse>(reply.bytes)->status, before) << command;
      EXPECT_FALSE(decodeRecord<HelperResponse>(reply.bytes)->ok) << command;
      EXPECT_FALSE(reply.uninstallAsked) << command;
    }
  }
  EXPECT_TRUE(ask(R"({"command":"status"})", otherUser).ok);
  EXPECT_TRUE(ask(R"({"command":"renew"})", user).ok);
  EXPECT_TRUE(ask(R"({"command":"renew"})", root).ok);
  EXPECT_TRUE(ask(R"({"command":"renew"})", user).ok) << "root's renewal does not make the hold root's";
  EXPECT_TRUE(ask(R"({"command":"release"})", root).ok);
  EXPECT_TRUE(ask(R"({"command":"acquire"})", otherUser).ok) << "free again";
  EXPECT_FALSE(ask(R"({"command":"renew"})", user).ok);
}

TEST_F(HelperRequestHandlerTest, TheStatusNamesTheHolderForAsLongAsThereIsOne) {
  const auto holder = [this] { return ask(R"({"command":"status"})", otherUser).status->holderUserId; };
  EXPECT_EQ(holder(), std::nullopt);
  ask(R"({"command":"acquire"})", user);
  EXPECT_EQ(holder(), user);
  ask(R"({"command":"release"})", user);
  EXPECT_EQ(holder(), std::nullopt);
}

TEST_F(HelperRequestHandlerTest, AHoldThatRootTookOverIsRoots) {
  ask(R"({"command":"acquire"})", user);
  ask(R"({"command":"acquire"})", root);
  EXPECT_FALSE(ask(R"({"command":"renew"})", user).ok);
}

TEST_F(HelperRequestHandlerTest, AfterARestartTheFirstToAcquireOrRenewIsTheHolder) {
  for (const char* command : {"acquire", "renew"}) {
    restart(true);
    EXPECT_TRUE(ask(std::string(R"({"command":")") + command + "\"}", otherUser).ok);
    EXPECT_FALSE(ask(R"({"command":"release"})", user).ok);
    EXPECT_TRUE(ask(R"({"command":"release"})", otherUser).ok);
  }
}

TEST_F(HelperRequestHandlerTest, AStrangersRequestsAreLoggedOnceAHold) {
  const auto refusals = [this] {
    test::MemorySink log;
    for (int round = 0; round < 3; ++round) ask(R"({"command":"renew"})", otherUser);
    return log.take();
  };
  const std::vector<std::string> once = {
      "info [daemon] Requests of user 1001 are refused: the deep hold is user 1000's"};
  ask(R"({"command":"acquire"})", user);
  EXPECT_EQ(refusals(), once);
  ask(R"({"command":"release"})", user);
  ask(R"({"command":"acquire"})", user);
  EXPECT_EQ(refusals(), once);
}

}  // namespace
}  // namespace vigilo
