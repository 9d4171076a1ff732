#include "platform/linux/LogindSleepInhibitor.h"

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

TEST(LogindSleepInhibitor, OnlyThisProcesssOwnHoldCounts) {
  const bus::Inhibitor own{"sleep:handle-lid-switch", "Vigilo", "why", "block", 0, 42};
  const auto with = [&](auto change) {
    bus::Inhibitor inhibitor = own;
    change(inhibitor);
    return holdsSleepInhibitor({inhibitor}, 0, 42);
  };
  EXPECT_TRUE(with([](auto&) {}));
  EXPECT_FALSE(with([](auto& other) { other.who = "PowerDevil"; }));
  EXPECT_FALSE(with([](auto& other) { other.what = "sleep"; }));
  EXPECT_FALSE(with([](auto& other) { other.what = "idle:sleep:handle-lid-switch"; }));
  EXPECT_FALSE(with([](auto& other) { other.mode = "delay"; }));
  EXPECT_FALSE(with([](auto& other) { other.uid = 1000; }));
  EXPECT_FALSE(with([](auto& other) { other.pid = 43; }));  // A helper before this one.
  EXPECT_FALSE(holdsSleepInhibitor({}, 0, 42));
  EXPECT_TRUE(holdsSleepInhibitor({{"idle", "else", "", "block", 0, 42}, own}, 0, 42));
}

TEST(LogindSleepInhibitor, SleepIsMaskedByALinkToNowhereInAnyOfTheFolders) {
  const test::TempFolder folder;
  const std::vector<std::string> folders = {folder.path("etc"), folder.path("run")};
  EXPECT_FALSE(isSleepMasked(folders));
  for (const char* unit :
       {"etc/suspend.target", "run/suspend.target", "etc/sleep.target", "run/sleep.target"}) {
    folder.write(unit, "[Unit]\n");
    EXPECT_FALSE(isSleepMasked(folders)) << unit;
    std::filesystem::remove(folder.path(unit));
    std::filesystem::create_symlink(folder.path("elsewhere.target"), folder.path(unit));
    EXPECT_FALSE(isSleepMasked(folders)) << unit;
    std::filesystem::remove(folder.path(unit));
    std::filesystem::create_symlink("/dev/null", folder.path(unit));
    EXPECT_TRUE(isSleepMasked(folders)) << unit;
    std::filesystem::remove(folder.path(unit));
  }
  std::filesystem::create_symlink("/dev/null", folder.path("run/hibernate.target"));
  EXPECT_FALSE(isSleepMasked(folders));
}

}  // namespace
}  // namespace vigilo
