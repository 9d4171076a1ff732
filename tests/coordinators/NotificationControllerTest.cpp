#include "NotificationController.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/FakeDesktop.h"
#include "tests/support/MemoryDefaults.h"
#include "tests/support/MemorySink.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;

class NotificationControllerTest : public testing::Test {
 protected:
  test::VirtualTime time;
  test::MemoryDefaults defaults;
  SettingsStore settings{defaults, time.clock()};
  test::FakeDesktop desktop;
  std::unique_ptr<Queue> queue = time.queue("com.vigilo.notifications");
  std::shared_ptr<NotificationController> controller = NotificationController::create(
      {.queue = *queue, .settings = settings, .service = desktop, .sounds = desktop});

  Lines seenAndHeard() {
    time.runUntilIdle();
    return desktop.take();
  }
};

TEST_F(NotificationControllerTest, OneSoundIsHeardUnlessTheUserWantsNone) {
  settings.soundEnabled(false);
  controller->notifyProtectionFinished();
  EXPECT_EQ(seenAndHeard(), Lines{"vigilo.finished: Normal sleep behavior has been restored."})
      << "the service's own sound alone";
  settings.soundEnabled(true);
  settings.notificationsEnabled(false);
  controller->notifyProtectionFinished();
  EXPECT_EQ(seenAndHeard(), Lines{});
  settings.notificationsEnabled(true);
  // Where the chime was not heard, the service may make its sound the next time.
  desktop.hasSounds = false;
  for (const char* silent : {" silent", ""}) {
    controller->notifyProtectionFinished();
    EXPECT_EQ(seenAndHeard(),
              (Lines{std::string("vigilo.finished") + silent + ": Normal sleep behavior has been restored.",
                     "beep"}));
  }
}

TEST_F(NotificationControllerTest, WhatWaitsGivesWayToALaterOneOfItsKind) {
  for (int count = 1; count <= 100; ++count) {
    controller->notifyProtectionStarted(count);
    controller->notifyProtectionFinished();
  }
  EXPECT_EQ(seenAndHeard(),
            (Lines{"vigilo.started silent: 100 coding agent sessions working.", "Hero",
                   "vigilo.finished silent: Normal sleep behavior has been restored.", "Hero"}));
}

TEST_F(NotificationControllerTest, EachAnswerAndEachFailureIsLoggedOnce) {
  test::MemorySink log;
  const auto postTwice = [&](UserNotifications::Outcome answer) {
    desktop.answer = std::move(answer);
    for (int i = 0; i < 2; ++i) controller->notifyProtectionFinished(), time.runUntilIdle();
    return log.take();
  };
  desktop.answer = NotificationError{"the bus hangs"};
  controller->requestAuthorization();
  time.runUntilIdle();
  EXPECT_EQ(log.take(), Lines{"error [notifications] Notification permission error: the bus hangs"});
  EXPECT_EQ(postTwice(false), Lines{"info [notifications] Notification permission granted: false"});
  EXPECT_EQ(postTwice(true), Lines{"info [notifications] Notification permission granted: true"});
  const Lines failed{"error [notifications] Failed to post notification: no answer"};
  EXPECT_EQ(postTwice(NotificationError{"no answer"}), failed);
  EXPECT_EQ(postTwice(true), Lines{});
  EXPECT_EQ(postTwice(NotificationError{"no answer"}), failed) << "a failure of its own";
}

}  // namespace
}  // namespace vigilo
