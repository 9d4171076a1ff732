// Runs under tools/with-session-bus -n: a notification service that writes down what it is asked to show.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "platform/UserNotifications.h"

namespace vigilo {
namespace {

std::vector<std::string> shown() {
  std::vector<std::string> lines;
  std::ifstream log(std::getenv("VIGILO_NOTIFY_LOG"));
  for (std::string line; std::getline(log, line);) {
    const auto call = line.find("Notify ");
    if (call != line.npos) lines.push_back(line.substr(call));
  }
  return lines;
}

TEST(NotificationsOnTheBus, ATextIsNoMarkupAndACutoffIsCritical) {
  const auto service = makeUserNotifications();
  const auto granted = service->requestAuthorization();
  ASSERT_TRUE(granted && *granted);
  const UserNotification notices[] = {
      {.identifier = "a", .title = "1 < 2", .body = "<b> & co", .urgent = true, .silent = true},
      {.identifier = "b", .title = "other", .body = "é"},
      {.identifier = "a", .title = "later", .body = ""}};
  for (const auto& notice : notices) {
    const auto posted = service->post(notice);
    ASSERT_TRUE(posted && *posted);
  }
  const std::string sound =
      R"("desktop-entry": "vigilo", "sound-name": "dialog-information", "urgency": 1} -1)";
  EXPECT_EQ(shown(), (std::vector<std::string>{
                         R"(Notify "Vigilo" 0 "" "1 < 2" "&lt;b&gt; &amp; co" [] )"
                         R"({"desktop-entry": "vigilo", "suppress-sound": True, "urgency": 2} -1)",
                         R"(Notify "Vigilo" 0 "" "other" "é" [] {)" + sound,
                         R"(Notify "Vigilo" 1 "" "later" "" [] {)" + sound}));
}

}  // namespace
}  // namespace vigilo
