#include "VigiloApp/control/RecentLog.h"

#include <gtest/gtest.h>

#include "VigiloApp/control/ControlProtocol.h"
#include "VigiloApp/host/SessionNews.h"
#include "support/Utf8.h"

namespace vigilo {
namespace {

const Date now = Date::fromUnix(1795262400);

TEST(RecentLog, KeepsErrorsOfAllAndChangesOfThoseThatTellThem) {
  RecentLog log;
  log.note(now, LogLevel::error, "hooks", "bind failed");
  log.note(now, LogLevel::info, "hooks", "started");
  log.note(now, LogLevel::debug, "thermal", "still nominal");
  log.note(now, LogLevel::info, "thermal", "serious now");
  const std::vector<LogEntry> expected{{now, true, "hooks", "bind failed"},
                                       {now, false, "thermal", "serious now"}};
  EXPECT_EQ(log.newest(9), expected);
}

TEST(RecentLog, TheOldestGoFirstAndTheLongestStillFitsAnAnswer) {
  RecentLog log;
  std::string longText = "x";
  while (longText.size() < 4096) longText += "\u00e9\"";
  for (int i = 0; i < 250; ++i) log.add(now + i, "session", longText);
  const auto kept = log.newest(1000);
  ASSERT_EQ(kept.size(), RecentLog::mostEntries);
  EXPECT_EQ(kept.back().at, now + 249);
  EXPECT_LE(kept.back().message.size(), RecentLog::longestMessage);
  EXPECT_TRUE(isUtf8(kept.back().message));
  ControlResponse response;
  response.recentLog = kept;
  EXPECT_LE(controlLine(response).size(), controlMessageLimit);
  EXPECT_EQ(log.newest(1).front().at, now + 249);
}

TEST(SessionNews, TellsChangesOfStateAndNothingElse) {
  SessionNews news;
  AgentSession session{.id = "c353", .state = AgentState::working, .cwd = "/home/me/proj"};
  using Lines = std::vector<std::string>;
  EXPECT_EQ(news.since({session}), Lines{"Claude Code is working in /home/me/proj, session c353"});
  session.lastEventAt = now;
  EXPECT_EQ(news.since({session}), Lines{});
  session.state = AgentState::waiting;
  EXPECT_EQ(news.since({session}), Lines{"Claude Code waits for you in /home/me/proj, session c353"});
  EXPECT_EQ(news.since({}), Lines{"Claude Code has gone, session c353"});
}

}  // namespace
}  // namespace vigilo
