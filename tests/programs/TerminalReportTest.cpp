#include "VigiloApp/host/TerminalReport.h"

#include <gtest/gtest.h>

namespace vigilo {
namespace {

TEST(TerminalReport, TellsWhatMattersAndNothingThatIsSoForAMomentOnly) {
  using S = HoldState;
  using I = IdleHold;
  using D = DeepHold;
  const HoldInForce none{};
  const HoldInForce asked{S::notYet, I::notYet, D::notYet};
  const HoldInForce held{S::held, I::held, D::held};
  const HoldInForce noHelper{S::partlyHeld, I::held, D::noHelper};
  const HoldInForce nothing{S::notHeld, I::refused, D::noHelper};
  const WakeDecision release = WakeDecision::Release{"No active agent sessions"};
  const auto hold = [](const char* reason, int agents) { return WakeDecision::Hold{reason, agents, true}; };
  struct Step {
    WakeDecision decision;
    HoldInForce force;
    const char* line;  // empty for none
    bool isForTheLog;
  };
  const Step steps[] = {
      {release, none, "sleep allowed: No active agent sessions", true},
      {hold("Claude Code working", 1), asked, "", false},
      {hold("Claude Code working", 1), held, "holding: Claude Code working; also with the lid closed", true},
      {hold("Claude Code working", 2), held, "", false},
      {hold("Claude Code, Codex CLI working", 3), held,
       "holding: Claude Code, Codex CLI working; also with the lid closed", false},
      {hold("Claude Code, Codex CLI working", 3), noHelper,
       "holding: Claude Code, Codex CLI working; but a closed lid suspends: no helper runs", true},
      {hold("Claude Code, Codex CLI working", 3), nothing,
       "cannot hold: Claude Code, Codex CLI working; the idle hold was refused; a closed lid suspends: no "
       "helper "
       "runs",
       true},
      {hold("Release debounce (30s)", 0), nothing,
       "cannot hold: the last agent has stopped, 30 s to go; the idle hold was refused; a closed lid "
       "suspends: "
       "no helper runs",
       false},
      {hold("Release debounce (29s)", 0), nothing, "", false},
      {release, none, "sleep allowed: No active agent sessions (before: Claude Code, Codex CLI working)",
       true},
      {WakeDecision::Blocked{SafetyBlock::paused},
       {S::blocked},
       "sleep allowed on purpose: Protection paused",
       true},
  };
  TerminalReport report;
  std::vector<std::string> log;
  report.onDecision = [&](const std::string& line) { log.push_back(line); };
  report.introduce("");
  for (const Step& step : steps) {
    log.clear();
    testing::internal::CaptureStdout();
    report.show(step.decision, step.force, Date());
    const std::string printed = testing::internal::GetCapturedStdout();
    const std::string line = step.line;
    EXPECT_EQ(printed.empty() ? "" : printed.substr(9), line.empty() ? "" : line + "\n");
    EXPECT_EQ(log.size(), step.isForTheLog ? 1u : 0u) << line;
  }
}

}  // namespace
}  // namespace vigilo
