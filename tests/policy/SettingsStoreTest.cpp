#include "policy/SettingsStore.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/MemoryDefaults.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

class Settings : public ::testing::Test {
 protected:
  // The announcements of everything that `work` does.
  template <class Work>
  int announcements(Work work) {
    int count = 0;
    const auto subscription = store.onChange([&] { ++count; });
    work();
    return count;
  }

  test::VirtualTime time;
  test::MemoryDefaults defaults;
  SettingsStore store{defaults, time.clock()};
};

TEST_F(Settings, AFreshInstallationIsProtected) {
  EXPECT_EQ(store.policyConfig(), PolicyConfiguration{});
  std::string all;
  for (const Setting& setting : SettingsStore::table())
    all += setting.name + ("=" + *store.text(setting.name)) + " ";
  EXPECT_EQ(all,
            "masterEnabled=true manualHoldEnabled=false releaseDelaySeconds=30 batteryFloorPercent=15 "
            "onlyOnAC=false deepLidProtectionEnabled=true preventDisplaySleep=false launchAtLogin=false "
            "notificationsEnabled=true soundEnabled=true hasCompletedOnboarding=false pauseUntil=none "
            "claudeFolders=none codexFolders=none openCodeFolders=none ");
}

TEST_F(Settings, StoredValuesOfAnotherTypeReadAsTheDefault) {
  struct Row {
    const char* key;
    DefaultsValue stored;
    const char* reads;
  };
  for (const Row& row : {
           Row{"masterEnabled", "false", "true"},
           Row{"masterEnabled", std::int64_t{0}, "true"},
           Row{"masterEnabled", false, "false"},
           Row{"batteryFloorPercent", 20.0, "15"},
           Row{"batteryFloorPercent", true, "15"},
           Row{"batteryFloorPercent", std::int64_t{20}, "20"},
           Row{"releaseDelaySeconds", std::int64_t{12}, "12"},
           Row{"releaseDelaySeconds", 12.5, "12.5"},
           Row{"releaseDelaySeconds", true, "30"},
           Row{"releaseDelaySeconds", infinity, "30"},
           Row{"releaseDelaySeconds", notANumber, "30"},
           Row{"pauseUntil", std::int64_t{12}, "none"},
           Row{"pauseUntil", Date::fromUnix(0), "1970-01-01T00:00:00Z"},
           Row{"codexFolders", "/srv/codex:~/own/.codex", "/srv/codex:~/own/.codex"},
           Row{"codexFolders", "relative", "none"},
           Row{"codexFolders", "/srv/codex:", "none"},
           Row{"codexFolders", "/srv/\n", "none"},
           Row{"codexFolders", std::int64_t{1}, "none"},
       }) {
    defaults.values = {{row.key, row.stored}};
    EXPECT_EQ(*store.text(row.key), row.reads) << row.key << ", variant " << row.stored.index();
  }
}

TEST_F(Settings, TheBatteryFloorIsBoundedWhenWrittenAndWhenUsed) {
  for (const auto& [written, kept] :
       {std::pair{2, 5}, {5, 5}, {50, 50}, {80, 50}, {std::numeric_limits<int>::min(), 5}}) {
    store.batteryFloorPercent(written);
    EXPECT_EQ(defaults.values.at("batteryFloorPercent"), DefaultsValue(std::int64_t{kept})) << written;
  }
  for (const auto& [stored, used] : {std::pair<std::int64_t, int>{99, 50}, {0, 5}, {1ll << 40, 50}}) {
    defaults.values["batteryFloorPercent"] = stored;
    EXPECT_EQ(store.policyConfig().batteryFloorPercent, used) << stored;
  }
}

TEST_F(Settings, TheReleaseDebounceIsNeverNegative) {
  for (const auto& [stored, used] :
       {std::pair{-10.0, 0.0}, {0.0, 0.0}, {12.5, 12.5}, {notANumber, 0.0}, {infinity, 30.0}}) {
    store.releaseDelaySeconds(stored);
    EXPECT_EQ(store.policyConfig().releaseDebounceSeconds, used) << stored;
  }
}

TEST_F(Settings, EachWriteIsAnnouncedOnceAfterItWasMade) {
  bool seen = true;
  const auto subscription = store.onChange([&] { seen = store.masterEnabled(); });
  EXPECT_EQ(announcements([&] { store.masterEnabled(false); }), 1);
  EXPECT_FALSE(seen);
  EXPECT_EQ(announcements([&] { store.pause(1); }), 1);
  EXPECT_EQ(announcements([&] { (void)store.setText("soundEnabled", "false"); }), 1);
  EXPECT_EQ(announcements([&] { (void)store.setText("soundEnabled", "no"); }), 0);
}

TEST_F(Settings, AResetLeavesTheLoginItemAlone) {
  store.launchAtLogin(true);
  store.soundEnabled(false);
  store.batteryFloorPercent(40);
  store.pause(600);
  EXPECT_EQ(announcements([&] { store.resetToDefaults(); }), 14);
  EXPECT_EQ(defaults.values.size(), 11u) << "all but the pause and the folders";
  EXPECT_TRUE(store.launchAtLogin());
  EXPECT_EQ(store.policyConfig(), PolicyConfiguration{});
  EXPECT_TRUE(store.soundEnabled());
  EXPECT_EQ(store.pauseUntil(), std::nullopt);
}

TEST_F(Settings, WhatAHandHasWrittenWrongIsNamedWithWhatIsInForce) {
  const std::pair<DefaultsValue, const char*> rows[] = {
      {"no", "onlyOnAC = \"no\": it takes true or false; false is in force."},
      {std::int64_t{1}, "onlyOnAC = 1: it takes true or false; false is in force."}};
  for (const auto& [value, told] : rows) {
    defaults.values = {{"onlyOnAC", value}};
    EXPECT_EQ(store.problems(), std::vector<std::string>{told});
  }
  defaults.values = {{"batteryFloorPercent", std::int64_t{99}},
                     {"releaseDelaySeconds", -10.0},
                     {"soundEnable", true},
                     {"soundEnabled", true},
                     {"pauseUntil", Date::fromUnix(0)}};
  EXPECT_EQ(store.problems(),
            (std::vector<std::string>{
                "batteryFloorPercent = 99: it takes 5 to 50; 50 is in force.",
                "releaseDelaySeconds = -10: it takes 0 to 86400; 0 is in force.",
                "\"soundEnable\" is no setting, so it has no effect. Did you mean \"soundEnabled\"?"}));
  EXPECT_EQ(store.problems("releaseDelaySeconds").size(), 1U);
  for (int i = 0; i < 1000; ++i) defaults.values["key" + std::to_string(i)] = true;
  EXPECT_LT(store.problems().size(), 30U);
  defaults.values.clear();
  store.resetToDefaults();
  EXPECT_TRUE(store.problems().empty());
}

TEST_F(Settings, TextSetsWhatItIsAllowedToAndSaysWhatThatIs) {
  struct Row {
    const char *name, *text, *answer;
  };
  for (const Row& row : {
           Row{"masterEnabled", "false", "false"},
           Row{"masterEnabled", "yes", "\"yes\" is no value for masterEnabled: it takes true or false."},
           Row{"batteryFloorPercent", "5", "5"},
           Row{"batteryFloorPercent", "50", "50"},
           Row{"batteryFloorPercent", "51", "\"51\" is no value for batteryFloorPercent: it takes 5 to 50."},
           Row{"batteryFloorPercent", "4", "\"4\" is no value for batteryFloorPercent: it takes 5 to 50."},
           Row{"batteryFloorPercent", "9.5",
               "\"9.5\" is no value for batteryFloorPercent: it takes 5 to 50."},
           Row{"releaseDelaySeconds", "86400", "86400"},
           Row{"releaseDelaySeconds", "0.25", "0.25"},
           Row{"releaseDelaySeconds", "86400.5",
               "\"86400.5\" is no value for releaseDelaySeconds: it takes 0 to 86400."},
           Row{"releaseDelaySeconds", "nan",
               "\"nan\" is no value for releaseDelaySeconds: it takes 0 to 86400."},
           Row{"releaseDelaySeconds", "5 s",
               "\"5 s\" is no value for releaseDelaySeconds: it takes 0 to 86400."},
           Row{"pauseUntil", "2026-11-21T09:00:00+01:00", "2026-11-21T08:00:00Z"},
           Row{"pauseUntil", "none", "none"},
           Row{"pauseUntil", "tomorrow",
               "\"tomorrow\" is no value for pauseUntil: it takes an ISO 8601 date such as "
               "2026-11-21T08:00:00Z, or none."},
           Row{"volume", "1",
               "There is no setting \"volume\". There are: masterEnabled, manualHoldEnabled, "
               "releaseDelaySeconds, batteryFloorPercent, onlyOnAC, deepLidProtectionEnabled, "
               "preventDisplaySleep, launchAtLogin, notificationsEnabled, soundEnabled, "
               "hasCompletedOnboarding, pauseUntil, claudeFolders, codexFolders, openCodeFolders."},
       }) {
    const auto result = store.setText(row.name, row.text);
    EXPECT_EQ(result ? *result : result.error().description, row.answer);
  }
  EXPECT_EQ(defaults.values.at("batteryFloorPercent"), DefaultsValue(std::int64_t{50}));
  EXPECT_EQ(defaults.values.at("releaseDelaySeconds"), DefaultsValue(0.25));
  EXPECT_FALSE(defaults.values.contains("pauseUntil"));
}

}  // namespace
}  // namespace vigilo
