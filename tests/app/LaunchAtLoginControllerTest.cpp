#include "app/LaunchAtLoginController.h"

#include <gtest/gtest.h>

#include "tests/support/MemorySink.h"

namespace vigilo {
namespace {

class FakeLoginItem final : public LoginItem {
 public:
  LoginItemState state() const override { return now; }
  std::optional<LoginItemError> registerItem() override { return take("register"); }
  std::optional<LoginItemError> unregisterItem() override { return take("unregister"); }

  LoginItemState now;
  std::optional<LoginItemError> error;
  std::vector<std::string> calls;

 private:
  std::optional<LoginItemError> take(const char* call) {
    calls.emplace_back(call);
    return error;
  }
};

using Lines = std::vector<std::string>;
using enum LoginItemStatus;

TEST(LaunchAtLoginController, ChangesWhatIsNotAsAskedForAndNothingElse) {
  struct Row {
    LoginItemStatus status;
    bool isDoubled, enable;
    Lines calls, log;
  };
  const Lines registered{"info [launchAtLogin] Registered launch at login"};
  const Lines unregistered{"info [launchAtLogin] Unregistered launch at login"};
  const Row rows[] = {{notRegistered, false, true, {"register"}, registered},
                      {requiresApproval, false, true, {"register"}, registered},
                      {notFound, false, true, {"register"}, registered},
                      {enabled, false, true, {}, {}},
                      {enabled, true, true, {"register"}, registered},
                      {enabled, false, false, {"unregister"}, unregistered},
                      {enabled, true, false, {"unregister"}, unregistered},
                      {notRegistered, false, false, {}, {}},
                      {requiresApproval, false, false, {"unregister"}, unregistered},
                      {notFound, false, false, {"unregister"}, unregistered}};
  test::MemorySink log;
  for (const Row& row : rows) {
    FakeLoginItem item;
    item.now = {.status = row.status, .isDoubled = row.isDoubled};
    EXPECT_TRUE(LaunchAtLoginController(item).setEnabled(row.enable));
    EXPECT_EQ(item.calls, row.calls);
    EXPECT_EQ(log.take(), row.log);
  }
}

TEST(LaunchAtLoginController, AFailureIsToldAndLogged) {
  test::MemorySink log;
  FakeLoginItem item;
  item.error = LoginItemError{"the disk is full"};
  LaunchAtLoginController controller(item);
  EXPECT_FALSE(controller.setEnabled(true));
  EXPECT_EQ(log.take(), Lines{"error [launchAtLogin] Failed to update launch at login: the disk is full"});
  EXPECT_EQ(controller.update(true)->description, "the disk is full");
}

}  // namespace
}  // namespace vigilo
