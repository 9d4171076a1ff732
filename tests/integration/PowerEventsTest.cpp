// Runs under umockdev-wrapper, which puts a fake /sys and fake kernel events in place of the machine's.

#include <gtest/gtest.h>
#include <umockdev.h>

#include <condition_variable>
#include <mutex>
#include <vector>

#include "policy/BatteryMonitor.h"
#include "support/AsioQueue.h"

namespace vigilo {
namespace {

TEST(PowerEvents, AChangeOfTheBatteryIsToldAtOnceAndOnceMoreWhenTheFilesHaveSettled) {
  UMockdevTestbed* testbed = umockdev_testbed_new();
  char* path = umockdev_testbed_add_device(testbed, "power_supply", "BAT0", nullptr, "type", "Battery",
                                           "status", "Discharging", "capacity", "57", nullptr, nullptr);
  const auto queue = AsioQueue::withThread("main");
  const auto source = makePowerSourceProvider();
  BatteryMonitor monitor(*source, *queue, Date::now);
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<int> seen;
  monitor.onPowerSourceChanged([&](const PowerSourceSnapshot& snapshot) {
    const std::lock_guard guard(mutex);
    seen.push_back(snapshot.batteryPercent.value_or(-1));
    changed.notify_all();
  });
  monitor.start();
  EXPECT_EQ(monitor.currentSnapshot().batteryPercent, 57);
  queue->sync([] {});  // the monitor listens
  umockdev_testbed_set_attribute(testbed, path, "capacity", "56");
  umockdev_testbed_uevent(testbed, path, "change");
  {
    std::unique_lock guard(mutex);
    EXPECT_TRUE(changed.wait_for(guard, std::chrono::seconds(10), [&] { return seen.size() >= 2; }));
    EXPECT_EQ(seen, (std::vector{56, 56}));
  }
  monitor.stop();
  g_free(path);
  g_object_unref(testbed);
}

}  // namespace
}  // namespace vigilo
