#include "VigiloApp/control/RecentLog.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "VigiloApp/control/ControlProtocol.h"
#include "VigiloApp/host/SessionNews.h"
#include "support/Utf8.h"

namespace vigilo {
namespace {

const Date now = Date::fromUnix(1795262400);

TEST(RecentLog, KeepsErrorsAndChangesInPlainWords) {
  RecentLog log;
  log.note(now, LogLevel::error, "hooks", "bind failed");
  log.note(now, LogLevel::info, "hooks", "started");
  log.note(now, LogLevel::debug, "thermal", "still nominal");
  log.note(now, LogLevel::info, "thermal", "serious now");
  log.note(now, LogLevel::error, "agents", "Session c353 is stale (901s old). Marking stale.");
  log.note(now, LogLevel::error, "notifications",
           "not shown: org.freedesktop.DBus.Error.NoReply: no answer from 'org.freedesktop.login1'");
  const std::vector<LogEntry> expected{{now, true, "hooks", "bind failed"},
                                       {now, false, "thermal", "serious now"},
                                       {now, true, "notifications", "not shown: no answer from 'login1'"}};
  EXPECT_EQ(log.newest(9), expected);
}

TEST(RecentLog, WhatWasDecidedAtNightIsThereInTheMorning) {
  RecentLog log;
  std::string longText = "x";
  while (longText.size() < 4096) longText += "\u00e9\"";
  log.add(now, "settings", "not to be read", true);
  for (int i = 0; i < 150; ++i) log.add(now + i, "decision", "sleep allowed: No active agent sessions");
  for (int i = 0; i < 5000; ++i) log.add(now + 200 + i, "session", longText);
  const auto kept = log.newest(100000);
  EXPECT_EQ(kept.front().message, "not to be read");
  EXPECT_EQ(std::ranges::count(kept, "decision", &LogEntry::category), 150);
  EXPECT_EQ(kept.back().at, now + 5199);
  EXPECT_LE(kept.back().message.size(), RecentLog::longestMessage);
  EXPECT_TRUE(isUtf8(kept.back().message));
  EXPECT_TRUE(std::ranges::is_sorted(kept, {}, &LogEntry::at));
  EXPECT_EQ(log.newest(1).front().at, now + 5199);
  for (int i = 0; i < 5000; ++i) {
    log.add(now, "decision", longText);
    log.add(now, "hooks", std::string(300, '\x01'), true);
  }
  ControlResponse response;
  response.recentLog = log.newest(100000);
  const auto answer = decodeRecord<ControlResponse>(controlLine(response), controlForm);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->recentLog, response.recentLog) << "all of it fits an answer";
}

TEST(SessionNews, TellsChangesOfStateAndNothingElse) {
  SessionNews news;
  AgentSession session{.id = "c353", .state = AgentState::working, .cwd = "/home/me/proj"};
  using Lines = std::vector<std::string>;
  EXPECT_EQ(news.since({session}), Lines{"Claude Code is working in /home/me/proj"});
  session.lastEventAt = now;
  EXPECT_EQ(news.since({session}), Lines{});
  session.state = AgentState::waiting;
  EXPECT_EQ(news.since({session}), Lines{"Claude Code waits for you in /home/me/proj"});
  EXPECT_EQ(news.since({}), Lines{"Claude Code in /home/me/proj has gone"});
  session.state = AgentState::completed;
  EXPECT_EQ(news.since({session}), Lines{"Claude Code has completed in /home/me/proj"});
  EXPECT_EQ(news.since({}), Lines{}) << "it was told that this one has ended";
}

}  // namespace
}  // namespace vigilo
