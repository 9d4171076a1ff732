#include "app/GlobalShortcutController.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "tests/support/MemorySink.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

// A desktop whose key presses and moods the test makes up, for as long as the watches stand.
class FakeMonitor final : public KeyMonitor {
 public:
  CancelToken watch(Queue&, Callbacks callbacks) override {
    struct Token final : Cancellable {
      Token(std::map<int, Callbacks>& all, int own) : watches(all), number(own) {}
      ~Token() override { watches.erase(number); }
      std::map<int, Callbacks>& watches;
      const int number;
    };
    watches[++last_] = std::move(callbacks);
    return std::make_unique<Token>(watches, last_);
  }
  std::map<int, Callbacks> watches;

 private:
  int last_ = 0;
};

class GlobalShortcutControllerTest : public testing::Test {
 protected:
  using Lines = std::vector<std::string>;

  GlobalShortcutControllerTest() {
    controller->onToggleRequested = [this] { toggles += main->isCurrent() ? 1 : 100; };
  }
  void tell(bool isRegistered, const char* description) {
    monitor.watches.rbegin()->second.state({isRegistered, description});
    time.runUntilIdle();
  }

  test::VirtualTime time;
  std::unique_ptr<Queue> main = time.queue("main");
  std::unique_ptr<Queue> queue = time.queue("com.vigilo.shortcut");
  FakeMonitor monitor;
  int toggles = 0;
  test::MemorySink log;
  std::shared_ptr<GlobalShortcutController> controller =
      GlobalShortcutController::create(monitor, *main, *queue);
};

TEST_F(GlobalShortcutControllerTest, APressAsksForOneToggleOnTheMainQueue) {
  controller->start();
  tell(true, "Alt+Super+L, through the X server");
  monitor.watches.begin()->second.pressed();
  EXPECT_EQ(toggles, 0) << "not on the thread that saw the key";
  time.runUntilIdle();
  EXPECT_EQ(toggles, 1);
  EXPECT_EQ(log.take(), (Lines{"info [shortcut] Global shortcut monitor registered for Option+Command+L",
                               "info [shortcut] Global shortcut Option+Command+L triggered"}));
}

TEST_F(GlobalShortcutControllerTest, StartedTwiceThereIsOneMonitorAndTheFirstIsNotListenedTo) {
  controller->start();
  const auto first = monitor.watches.begin()->second;
  controller->start();
  EXPECT_EQ(monitor.watches.size(), 1u);
  first.pressed();
  first.state({true, "late"});
  time.runUntilIdle();
  EXPECT_EQ(toggles, 0);
  EXPECT_FALSE(controller->state().isRegistered);
  controller->stop();
  EXPECT_EQ(monitor.watches.size(), 0u);
  EXPECT_FALSE(controller->isMonitoring());
}

TEST_F(GlobalShortcutControllerTest, ADesktopThatGoesAndReturnsIsALineEach) {
  controller->start();
  tell(true, "Alt+Super+L, through the X server");
  tell(false, "the X server has ended");
  EXPECT_EQ(controller->state().description, "the X server has ended");
  tell(true, "Alt+Super+L, through the X server");
  EXPECT_EQ(
      log.take(),
      (Lines{"info [shortcut] Global shortcut monitor registered for Option+Command+L",
             "info [shortcut] Global shortcut Option+Command+L is not available: the X server has ended",
             "info [shortcut] Global shortcut monitor registered for Option+Command+L"}));
}

TEST_F(GlobalShortcutControllerTest, APressOnItsWayWhenTheControllerGoesReachesNobody) {
  controller->start();
  monitor.watches.begin()->second.pressed();
  controller.reset();
  time.runUntilIdle();
  EXPECT_EQ(toggles, 0);
}

}  // namespace
}  // namespace vigilo
