#include "VigiloApp/commands/StatusText.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <utility>
#include <vector>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/control/ControlProtocol.h"
#include "support/RecordCoder.h"

namespace vigilo {
namespace {

class StatusTextTest : public testing::Test {
 protected:
  StatusTextTest() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    report.powerSource = PowerSourceSnapshot::desktopDefault();
  }

  void hold(const std::string& reason, int agents, bool deep = true) {
    report.currentDecision = WakeDecision::Hold{reason, agents, deep};
    report.protectionStartedAt = now - 252;
    report.elapsedProtectionSeconds = 252;
    report.idleAssertionActive = true;
    report.helperStatus = DeepSleepStatus{.isHelperInstalled = true,
                                          .isDeepHoldActive = true,
                                          .activeLeaseId = "lease",
                                          .leaseExpiresAt = now + 40,
                                          .originalSleepDisabledState = false,
                                          .currentSystemSleepDisabled = true};
  }
  void expect(const std::vector<const char*>& parts) const {
    const std::string text = statusText(report, now);
    for (const char* part : parts) EXPECT_NE(text.find(part), std::string::npos) << part << "\nin\n" << text;
  }

  const Date now = Date::fromUnix(1795262400);  // 12:00:00
  StatusReport report;
};

TEST_F(StatusTextTest, SaysWhatIsHeldWhySinceWhenAndWhatWouldEndIt) {
  hold("Claude Code working", 1);
  report.powerSource = {.batteryPercent = 57, .isOnAC = false, .timeRemainingMinutes = 130};
  report.activeSessionsList = {AgentSession{
      .id = "c353", .state = AgentState::working, .lastEventAt = now - 75, .cwd = "/home/me/proj"}};
  expect({"holds this machine awake: Claude Code working (1 agent), since 11:55:48 (4 min 12 s).",
          "idle sleep  held off", "held by the helper, also with the lid closed", "lease until 12:00:40",
          "15 min; on battery at 15 %; when critically hot", "on battery, 57 %, 2 h 10 min left",
          "sessions    1: 1 active", "Claude Code: 1 active", "Working, 1 min 15 s ago, /home/me/proj\n"});
}

TEST_F(StatusTextTest, TheHeadlineFollowsWhatIsInForce) {
  using S = HoldState;
  using I = IdleHold;
  using D = DeepHold;
  const std::pair<HoldInForce, std::vector<const char*>> rows[] = {
      {{S::held, I::held, D::held}, {"Vigilo holds this machine awake: Claude Code working (1 agent)"}},
      {{S::notYet, I::notYet, D::notYet},
       {"Vigilo is about to hold", "idle sleep  asked for", "deep sleep  asked for"}},
      {{S::partlyHeld, I::held, D::noHelper},
       {"Vigilo holds this machine awake, but a closed lid suspends: no helper runs. It holds for: Claude",
        "idle sleep  held off", "deep sleep  not held: no helper runs, so a closed lid suspends"}},
      {{S::partlyHeld, I::refused, D::held},
       {"awake, but the idle hold was refused.", "deep sleep  held by the helper"}},
      {{S::partlyHeld, I::held, D::notInForce},
       {"deep sleep  not held: the hold is asked for, not in force"}},
      {{S::partlyHeld, I::held, D::lapsed}, {"deep sleep  not held: the lease was not renewed"}},
      {{S::partlyHeld, I::held, D::anothers},
       {"awake, but a closed lid suspends once the helper's hold for somebody else ends. It holds for",
        "deep sleep  held for another user, or an earlier host of this user, until Sun 2026-11-22 13:00:00; "
        "this "
        "host does not renew it"}},
      {{S::notHeld, I::refused, D::noHelper},
       {"Vigilo cannot hold this machine awake: the idle hold was refused; a closed lid suspends: no helper "
        "runs.",
        "idle sleep  not held: the idle hold was refused"}},
  };
  for (const auto& [force, parts] : rows) {
    hold("Claude Code working", 1);
    report.inForce = force;
    report.helperStatus->leaseExpiresAt = now + (force.deep == D::lapsed ? -1 : 25 * 3600);
    expect(parts);
    if (force.deep == D::held) continue;
    EXPECT_EQ(statusText(report, now).find("lease until"), std::string::npos)
        << "of no lease that is not ours";
  }
}

TEST_F(StatusTextTest, OurOwnLeaseStaysOurOwnWhenDeepProtectionIsSwitchedOff) {
  hold("Claude Code working", 1, false);
  report.inForce = HoldInForce{HoldState::held, IdleHold::held, DeepHold::held};
  expect({"deep sleep  held by the helper until this hold ends"});
  report.currentDecision = WakeDecision::Release{"No active agent sessions"};
  report.inForce = HoldInForce{};
  report.helperStatus->isDeepHoldActive = false;
  expect({"deep sleep  sleep is off, but not by Vigilo"});
}

TEST_F(StatusTextTest, SaysAllThatWouldEndTheHold) {
  hold("Claude Code working", 1);
  expect(
      {"ends        30 s after the last agent stops, or has been silent for 15 min; when critically hot; "
       "`vigilo pause` or `disable`\n"});
  report.powerSource = {.batteryPercent = 80, .isOnAC = true};
  expect({"15 min; on battery at 15 %; when critically hot"});
  report.settings.onlyOnAC = true;
  expect({"15 min; without AC; when critically hot"});
  report.settings.manualHoldEnabled = true;
  expect({"ends        `vigilo hold off`, once no agent works; without AC"});
}

TEST_F(StatusTextTest, SessionsThatAreOverAreACountAndProcessesOfAgentsWithHooksNone) {
  const auto add = [this](AgentType agent, AgentState state, double secondsAgo, std::optional<int> pid = {}) {
    const std::string id =
        pid ? "proc-claude-" + std::to_string(*pid) : "id" + std::to_string(report.activeSessionsList.size());
    report.activeSessionsList.push_back(
        {.id = id,
         .agentType = agent,
         .state = state,
         .lastEventAt = now - secondsAgo,
         .pid = pid,
         .integrationType = pid ? IntegrationType::process : IntegrationType::lifecycleHook});
  };
  add(AgentType::claude, AgentState::working, 1);
  for (int i = 0; i < 12; ++i) add(AgentType::claude, AgentState::completed, 60);
  add(AgentType::claude, AgentState::stale, 1000);
  add(AgentType::claude, AgentState::working, 1, 77);
  add(AgentType::codex, AgentState::completed, 30);
  add(AgentType::codex, AgentState::idle, 7200);
  expect({"sessions    16: 1 active, 1 idle, 13 ended, 1 silent (1 process)\n",
          "Claude Code: 1 active, 12 ended, 1 silent (1 process)\n", "Codex CLI: 1 ended\n",
          "1 of which nothing was heard for an hour"});
  const std::string text = statusText(report, now);
  for (const char* absent : {"Completed", "Stale", "id0"}) EXPECT_EQ(text.find(absent), text.npos) << text;
}

TEST_F(StatusTextTest, SaysHowToEndEachBlock) {
  const std::pair<SafetyBlock, const char*> rows[] = {
      {SafetyBlock::masterDisabled, "`vigilo enable`"},
      {SafetyBlock::paused, "12:10:00; `vigilo resume`"},
      {SafetyBlock::batteryBelowFloor, "on AC, or at 18 % charge"},
      {SafetyBlock::acDisconnected, "onlyOnAC"},
      {SafetyBlock::thermalCritical, "has cooled down"}};
  report.currentDecision = WakeDecision::Blocked{SafetyBlock::paused};
  report.pauseUntil = now + 86400;
  expect({"the pause ends at Sun 2026-11-22 12:00:00"});
  report.pauseUntil = now + 600;
  for (const auto& [block, how] : rows) {
    report.currentDecision = WakeDecision::Blocked{block};
    expect({"lets this machine sleep on purpose", rawValue(block).data(), how});
  }
}

TEST_F(StatusTextTest, WhatAgentsSendCannotSteerTheTerminal) {
  report.activeSessionsList = {AgentSession{.id = "1",
                                            .lastEventAt = now,
                                            .cwd = "a\x1b[2Jb\xc2\x9b"
                                                   "c\nd"}};
  const std::string text = statusText(report, now);
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
  EXPECT_EQ(text.find("\xc2\x9b"), std::string::npos);
  EXPECT_EQ(text.find("c\nd"), std::string::npos);
}

TEST_F(StatusTextTest, ACountdownIsNoNewsAndADifferentHoldIs) {
  const WakeDecision debounce = WakeDecision::Hold{"Release debounce (12s)", 0, true};
  EXPECT_FALSE(isNews(debounce, WakeDecision::Hold{"Release debounce (11s)", 0, true}));
  EXPECT_TRUE(isNews(debounce, WakeDecision::Release{"No active agent sessions"}));
  EXPECT_TRUE(isNews(WakeDecision::Hold{"Claude Code working", 1, true}, debounce));
  EXPECT_FALSE(isNews(WakeDecision::Hold{"Claude Code working", 1, true},
                      WakeDecision::Hold{"Claude Code working", 2, true}));
  hold("Release debounce (12s)", 0);
  StatusReport later = report;
  later.elapsedProtectionSeconds += 1;
  later.currentDecision = WakeDecision::Hold{"Release debounce (11s)", 0, true};
  later.helperStatus->leaseExpiresAt = now + 60;
  EXPECT_TRUE(sameButForTime(report, later));
  // A process that is seen again is no news; an event from a session is.
  report.activeSessionsList = {{.id = "proc-aider-1",
                                .agentType = AgentType::aider,
                                .pid = 1,
                                .integrationType = IntegrationType::process}};
  later.activeSessionsList = report.activeSessionsList;
  later.activeSessionsList[0].lastEventAt = now + 1;
  EXPECT_TRUE(sameButForTime(report, later));
  for (StatusReport* each : {&report, &later}) {
    each->activeSessionsList[0].integrationType = IntegrationType::lifecycleHook;
  }
  EXPECT_FALSE(sameButForTime(report, later));
  later.activeSessionsList = report.activeSessionsList;
  later.isLidClosed = true;
  EXPECT_FALSE(sameButForTime(report, later));
}

TEST(ControlProtocol, AStatusWithTooManySessionsLosesTheOldestAndSaysSo) {
  for (const std::size_t count : {10u, 300u, 20000u}) {
    ControlResponse response;
    response.status.emplace();
    for (std::size_t i = 0; i < count; ++i) {
      response.status->activeSessionsList.push_back(
          AgentSession{.id = "session-" + std::to_string(i), .cwd = "/home/me/" + std::string(i % 400, 'x')});
    }
    const std::string line = controlLine(response);
    EXPECT_LE(line.size(), controlMessageLimit);
    const auto decoded = decodeRecord<ControlResponse>(line, controlForm);
    ASSERT_TRUE(decoded);
    const auto& status = *decoded->status;
    EXPECT_EQ(status.activeSessionsList.size() + static_cast<std::size_t>(status.omittedSessions.value_or(0)),
              count);
    EXPECT_EQ(status.omittedSessions.has_value(), count > 10);
    EXPECT_EQ(status.activeSessionsList.front().id, "session-0") << "the newest stay";
  }
}

TEST(DurationText, ReadsWhatPeopleTypeAndNothingElse) {
  const std::pair<const char*, std::optional<double>> rows[] = {
      {"90s", 90},         {"30m", 1800},        {"1h30m", 5400}, {"2d", 172800}, {"30d", 2592000},
      {"1d1h1m1s", 90061}, {"30d1s", {}},        {"0s", {}},      {"", {}},       {"90", {}},
      {"m", {}},           {"1m1h", {}},         {"1h1h", {}},    {"-1s", {}},    {"1.5h", {}},
      {" 1h", {}},         {"99999999999s", {}}, {"1 h", {}},     {"1H", {}},     {"9999999d", {}}};
  for (const auto& [text, seconds] : rows) EXPECT_EQ(parseDuration(text), seconds) << text;
}

TEST(DurationText, ShowsTheTwoLargestUnits) {
  const std::pair<double, const char*> rows[] = {
      {0, "0 s"},    {59.9, "59 s"},           {60, "1 min"},  {252, "4 min 12 s"},
      {3600, "1 h"}, {5400, "1 h 30 min"},     {86460, "1 d"}, {90000, "1 d 1 h"},
      {-5, "0 s"},   {1e300, "11574074 d 1 h"}};
  for (const auto& [seconds, text] : rows) EXPECT_EQ(durationText(seconds), text) << seconds;
}

}  // namespace
}  // namespace vigilo
