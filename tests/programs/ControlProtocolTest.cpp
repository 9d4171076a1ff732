#include "VigiloApp/control/ControlProtocol.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "VigiloApp/control/ControlClient.h"

namespace vigilo {
namespace {

const Date now = Date::fromUnix(1795262400);

// Newest first, as a host lists them: every fourth is active, and the oldest of all.
StatusReport crowd(std::size_t count, const std::string& text) {
  StatusReport status;
  for (std::size_t i = 0; i < count; ++i) {
    const bool isActive = i % 4 == 3 || i + 1 == count;
    status.activeSessionsList.push_back({.id = std::to_string(i) + text,
                                         .state = isActive ? AgentState::working : AgentState::idle,
                                         .lastEventAt = now - static_cast<double>(i),
                                         .cwd = "/" + text});
  }
  return status;
}

TEST(ControlLine, OneTextOfTheLongestEventLeavesTheSessionsInTheStatus) {
  ControlResponse response;
  response.status = crowd(3, "");
  std::string& folder = *(response.status->activeSessionsList[1].cwd = "/");
  while (folder.size() < 65'000) folder += "\u00e9";
  const auto read = understood(controlLine(response));
  ASSERT_EQ(read.exitCode, exitOk);
  ASSERT_EQ(read.status->activeSessionsList.size(), 3U);
  EXPECT_FALSE(read.status->omittedSessions);
  EXPECT_TRUE(read.status->activeSessionsList[1].cwd->ends_with("\u00e9\u2026"));
}

TEST(ControlLine, WhatDoesNotFitIsCountedAndActiveOnesAreKeptBeforeNewerOthers) {
  for (const std::string& text : {std::string(100, 'x'), std::string(2000, 'x'), std::string(2000, '\x01')}) {
    const ControlResponse response{.status = crowd(500, text)};
    const std::string line = controlLine(response);
    EXPECT_LE(line.size(), controlMessageLimit);
    const auto read = understood(line);
    ASSERT_TRUE(read.status);
    const auto& kept = read.status->activeSessionsList;
    ASSERT_FALSE(kept.empty());
    EXPECT_EQ(read.status->omittedSessions.value_or(0) + static_cast<std::int64_t>(kept.size()), 500);
    const auto active = std::ranges::count_if(kept, &AgentSession::isWorking);
    EXPECT_TRUE(active == static_cast<std::ptrdiff_t>(kept.size()) || kept.back().id.starts_with("499"));
    EXPECT_TRUE(std::ranges::is_sorted(
        kept, [](const auto& one, const auto& other) { return one.lastEventAt > other.lastEventAt; }));
  }
}

TEST(ControlLine, WhatCannotBeMadeToFitIsSaidToBeTooLong) {
  ControlResponse response;
  response.settings.emplace(1000, SettingEntry{.key = std::string(1000, 'k')});
  const auto read = understood(controlLine(response));
  EXPECT_EQ(read.exitCode, exitUnavailable);
  EXPECT_NE(read.message->find("too long"), std::string::npos);
}

}  // namespace
}  // namespace vigilo
