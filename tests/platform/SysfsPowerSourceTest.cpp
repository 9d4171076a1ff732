#include "platform/linux/SysfsPowerSource.h"

#include <gtest/gtest.h>

#include <future>
#include <map>

#include "tests/support/TempFolder.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

using Files = std::map<std::string, std::string>;

// A folder in place of /sys with these files below class/power_supply; an empty content is a file that cannot
// be read as a value.
std::vector<PowerSourceDescription> read(const Files& files) {
  const test::TempFolder root;
  for (const auto& [name, content] : files) root.write("class/power_supply/" + name, content + "\n");
  return SysfsPowerSource(root.path()).copyPowerSources();
}

Files operator+(Files files, const Files& more) {
  for (const auto& [name, content] : more) files[name] = content;
  return files;
}

const Files battery{{"BAT0/type", "Battery"}, {"BAT0/status", "Discharging"}, {"BAT0/capacity", "57"}};
const Files second{{"BAT1/type", "Battery"},
                   {"BAT1/status", "Unknown"},
                   {"BAT1/capacity", "100"},
                   {"BAT1/energy_now", "30000000"},
                   {"BAT1/energy_full", "30000000"}};
const Files energy{{"BAT0/energy_now", "10000000"}, {"BAT0/energy_full", "50000000"}};

TEST(SysfsPowerSource, TakesAllBatteriesAsOneSource) {
  struct Row {
    const char* name;
    Files files;
    PowerSourceDescription expected;
  };
  const std::optional<std::int64_t> absent;
  const Row rows[] = {
      {"no rate",
       battery + energy + Files{{"BAT0/power_now", "0"}},
       {"Battery Power", false, 57, 100, absent}},
      {"no percentage",
       battery + energy + Files{{"BAT0/capacity", ""}},
       {"Battery Power", false, 10000000, 50000000, absent}},
      {"two batteries by energy",
       battery + energy + second,
       {"Battery Power", false, 40000000, 80000000, absent}},
      {"charge at the design voltage",
       battery + Files{{"BAT0/capacity", ""},
                       {"BAT0/charge_now", "2000000"},
                       {"BAT0/charge_full", "4000000"},
                       {"BAT0/voltage_min_design", "11000000"},
                       {"BAT0/voltage_now", "12000000"}},
       {"Battery Power", false, 22000000, 44000000, absent}},
      {"two batteries without energies",
       battery + Files{{"BAT1/type", "Battery"}, {"BAT1/capacity", "43"}},
       {"Battery Power", false, 100, 200, absent}},
      {"one of two cannot be read",
       battery + energy + Files{{"BAT1/type", "Battery"}, {"BAT1/status", ""}},
       {"Battery Power", false, 10000000, 50000000, absent}},
      {"time from power",
       battery + energy + Files{{"BAT0/power_now", "5000000"}},
       {"Battery Power", false, 57, 100, 120}},
      {"time from a negative current",
       battery + Files{{"BAT0/charge_now", "2000000"},
                       {"BAT0/charge_full", "4000000"},
                       {"BAT0/voltage_now", "12000000"},
                       {"BAT0/current_now", "-1000000"}},
       {"Battery Power", false, 57, 100, 120}},
      {"the driver's own time",
       battery + energy + Files{{"BAT0/power_now", "5000000"}, {"BAT0/time_to_empty_now", "3599"}},
       {"Battery Power", false, 57, 100, 59}},
      {"charging on AC",
       battery + energy +
           Files{{"BAT0/status", "Charging"},
                 {"BAT0/power_now", "5000000"},
                 {"AC/type", "Mains"},
                 {"AC/online", "1"}},
       {"AC Power", true, 57, 100, absent}},
      {"one of several supplies is on",
       battery + Files{{"AC/type", "Mains"}, {"AC/online", "0"}, {"usb/type", "USB"}, {"usb/online", "2"}},
       {"AC Power", false, 57, 100, absent}},
      {"the supply is off, the battery says nothing",
       battery + Files{{"BAT0/status", "Unknown"}, {"AC/type", "Mains"}, {"AC/online", "0"}},
       {"Battery Power", false, 57, 100, absent}},
      {"a supply that cannot be read tells nothing",
       battery + Files{{"BAT0/status", "Unknown"}, {"AC/type", "Mains"}, {"AC/online", ""}},
       {{}, false, 57, 100, absent}},
      {"no supply listed, not discharging",
       battery + Files{{"BAT0/status", "Not charging"}},
       {"AC Power", false, 57, 100, absent}},
      {"a power supply of its own",
       {{"U/type", "UPS"}, {"U/status", "Discharging"}, {"U/capacity", "9"}},
       {"Battery Power", false, 9, 100, absent}},
      {"nothing can be read", {{"BAT0/type", "Battery"}}, {}},
      {"numbers that no battery has",
       battery + Files{{"BAT0/capacity", "99999999999999999999"},
                       {"BAT0/charge_now", "9000000000000000"},
                       {"BAT0/charge_full", "9000000000000000"},
                       {"BAT0/voltage_now", "9000000000000000"}},
       {"Battery Power", false, absent, absent, absent}},
  };
  for (const Row& row : rows) {
    const auto sources = read(row.files);
    ASSERT_EQ(sources.size(), 1u) << row.name;
    EXPECT_EQ(sources[0].powerSourceState, row.expected.powerSourceState) << row.name;
    EXPECT_EQ(sources[0].isCharging, row.expected.isCharging) << row.name;
    EXPECT_EQ(sources[0].currentCapacity, row.expected.currentCapacity) << row.name;
    EXPECT_EQ(sources[0].maxCapacity, row.expected.maxCapacity) << row.name;
    EXPECT_EQ(sources[0].timeToEmpty, row.expected.timeToEmpty) << row.name;
  }
}

TEST(SysfsPowerSource, MachinesWithoutABatteryOfTheirOwnHaveNoSource) {
  EXPECT_EQ(read({}).size(), 0u);
  EXPECT_EQ(read({{"AC/type", "Mains"}, {"AC/online", "0"}}).size(), 0u);
  EXPECT_EQ(read(battery + Files{{"BAT0/scope", "Device"}}).size(), 0u) << "a mouse's battery";
  const Files emptyBay{{"BAT0/present", "0"}};
  EXPECT_EQ(read(battery + emptyBay).size(), 0u);
  const PowerSourceDescription mains{"AC Power", false, {}, {}, {}, false};
  EXPECT_EQ(read(battery + emptyBay + Files{{"AC/type", "Mains"}, {"AC/online", "1"}}), std::vector{mains});
}

TEST(SysfsPowerSource, IsReadAgainEvery30SecondsAlsoWithoutEvents) {
  const test::TempFolder root;
  test::VirtualTime time;
  const auto queue = time.queue("main");
  SysfsPowerSource source(root.path());
  int changes = 0;
  auto token = source.observe(*queue, [&] { ++changes; });
  time.advance(29);
  EXPECT_EQ(changes, 0);
  time.advance(61);
  EXPECT_EQ(changes, 3);
  token.reset();
  time.advance(60);
  EXPECT_EQ(changes, 3);
}

TEST(SysfsPowerSource, LowPowerIsTheServicesAnswerElseTheFirmwares) {
  const test::TempFolder root;
  SysfsPowerSource alone(root.path());
  EXPECT_FALSE(alone.isLowPowerModeEnabled());
  for (const auto& [profile, low] : {std::pair{"low-power", true}, {"quiet", true}, {"balanced", false}}) {
    root.write("firmware/acpi/platform_profile", std::string(profile) + "\n");
    EXPECT_EQ(alone.isLowPowerModeEnabled(), low) << profile;
  }
  const auto queue = AsioQueue::withThread("main");
  SysfsPowerSource withService(root.path(), [] { return std::optional<std::string>("power-saver"); });
  EXPECT_FALSE(withService.isLowPowerModeEnabled()) << "nobody has asked the service yet";
  std::promise<void> changed;
  const auto token = withService.observe(*queue, [&] { changed.set_value(); });
  ASSERT_EQ(changed.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_TRUE(withService.isLowPowerModeEnabled());
}

}  // namespace
}  // namespace vigilo
