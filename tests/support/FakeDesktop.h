#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/SystemSounds.h"
#include "platform/UserNotifications.h"

namespace vigilo::test {

// Notification service and sounds in one, as their user meets them: what appears and what is heard is a line
// each, "vigilo.battery urgent silent: the text", "Hero", "beep". For a test of one thread.
struct FakeDesktop final : UserNotifications, SystemSounds {
  Outcome answer = true;  // to every question
  bool hasSounds = true;
  std::vector<std::string> lines;

  std::vector<std::string> take() { return std::exchange(lines, {}); }

  Outcome requestAuthorization() override { return answer; }
  Outcome post(const UserNotification& notification) override {
    lines.push_back(notification.identifier + (notification.urgent ? " urgent" : "") +
                    (notification.silent ? " silent: " : ": ") + notification.body);
    return answer;
  }
  std::string description() const override { return "a fake"; }
  bool play(const std::string& name) override {
    if (hasSounds) lines.push_back(name);
    return hasSounds;
  }
  void beep() override { lines.emplace_back("beep"); }
};

}  // namespace vigilo::test
