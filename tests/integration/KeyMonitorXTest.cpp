// Runs under tools/with-session-bus -x: a real X server, in which xdotool presses the keys.

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>

#include "platform/KeyMonitor.h"
#include "support/AsioQueue.h"

namespace vigilo {
namespace {

// What one watch told: "registered", "pressed", or why it is not registered.
class Record {
 public:
  KeyMonitor::Callbacks callbacks() {
    return {.pressed = [this] { add("pressed"); },
            .state =
                [this](const KeyMonitorState& state) {
                  add(state.isRegistered ? "registered" : state.description);
                }};
  }
  // Everything so far, once there are so many lines, at the latest after ten seconds.
  std::vector<std::string> lines(std::size_t count) {
    std::unique_lock lock(mutex_);
    added_.wait_for(lock, std::chrono::seconds(10), [&] { return lines_.size() >= count; });
    return lines_;
  }

 private:
  void add(std::string line) {
    const std::lock_guard guard(mutex_);
    lines_.push_back(std::move(line));
    added_.notify_all();
  }
  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<std::string> lines_;
};

TEST(KeyMonitorInX, AWatchThatReplacesAnotherHasTheKeysAtOnceAndAlone) {
  using Lines = std::vector<std::string>;
  ::setenv("XDG_SESSION_TYPE", "x11", 1);
  Record first, second;
  const auto queue = AsioQueue::withThread("com.vigilo.shortcut");
  const auto monitor = makeKeyMonitor();
  auto token = monitor->watch(*queue, first.callbacks());
  EXPECT_EQ(first.lines(1), Lines{"registered"});
  token.reset();
  token = monitor->watch(*queue, second.callbacks());
  EXPECT_EQ(second.lines(1), Lines{"registered"}) << "the earlier grab was given back before";
  ASSERT_EQ(std::system("xdotool key alt+super+l"), 0);
  EXPECT_EQ(second.lines(2), (Lines{"registered", "pressed"}));
  token.reset();
  queue->sync([] {});
  EXPECT_EQ(first.lines(1), Lines{"registered"});
}

}  // namespace
}  // namespace vigilo
