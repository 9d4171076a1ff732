#include "policy/WakePolicyEngine.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "support/RecordCoder.h"

namespace vigilo {
namespace {

constexpr Date now{800000000};
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

AgentSession session(AgentType type, AgentState state, double age) {
  AgentSession result;
  result.agentType = type;
  result.state = state;
  result.lastEventAt = now - age;
  return result;
}

SessionSnapshot table(const std::vector<AgentSession>& sessions) {
  auto result = std::make_shared<SessionTable>();
  for (const auto& each : sessions) result->emplace(std::to_string(result->size()), each);
  return result;
}

PolicyEvaluationContext onBattery(int percent) {
  PolicyEvaluationContext context;
  context.now = now;
  context.powerSource.batteryPercent = percent;
  return context;
}

PolicyEvaluationContext working() {
  auto context = onBattery(80);
  context.sessions = table({session(AgentType::claude, AgentState::working, 1)});
  return context;
}

std::string decide(const PolicyEvaluationContext& context) {
  return WakePolicyEngine().evaluate(context).statusDescription();
}

const std::string nobody = "Sleep enabled — No active agent sessions";
const std::string claudeWorks = "Active (1 working agent) — Claude Code working";

using Change = std::function<void(PolicyEvaluationContext&)>;

TEST(WakePolicyEngine, SafetyBlocksComeBeforeEveryHoldAndInTheirOrder) {
  using C = PolicyEvaluationContext;
  // Each row adds a reason that outranks those before it.
  const std::pair<Change, const char*> rows[] = {
      {[](C&) {}, "Active (1 working agent) — Manual hold requested"},
      {[](C& c) { c.powerSource.batteryPercent = 15; }, "Safety blocked: Battery level below safety cutoff"},
      {[](C& c) { c.config.onlyOnAC = true; }, "Safety blocked: AC power disconnected (AC-only mode)"},
      {[](C& c) { c.thermalState = SystemThermalState::critical; },
       "Safety blocked: Thermal critical safety cutoff"},
      {[](C& c) { c.pauseUntil = now + 1; }, "Safety blocked: Protection paused"},
      {[](C& c) { c.config.masterEnabled = false; }, "Safety blocked: Master switch disabled"}};
  auto context = working();
  context.config.manualHoldEnabled = true;
  for (const auto& [change, expected] : rows) {
    change(context);
    EXPECT_EQ(decide(context), expected);
  }
}

TEST(WakePolicyEngine, WhatIsNoReasonToBlockDoesNotBlock) {
  using C = PolicyEvaluationContext;
  const std::pair<const char*, Change> rows[] = {
      {"a pause that ends now is over", [](C& c) { c.pauseUntil = now; }},
      {"a pause without a date that counts", [](C& c) { c.pauseUntil = Date{notANumber}; }},
      {"serious heat", [](C& c) { c.thermalState = SystemThermalState::serious; }},
      {"AC-only mode on AC",
       [](C& c) {
         c.config.onlyOnAC = true;
         c.powerSource.isOnAC = true;
       }},
      {"an empty battery on AC",
       [](C& c) {
         c.powerSource.batteryPercent = 0;
         c.powerSource.isOnAC = true;
       }},
      {"a latched block, charging",
       [](C& c) {
         c.powerSource.batteryPercent = 3;
         c.powerSource.isCharging = true;
         c.isCurrentlyBatteryBlocked = true;
       }},
      {"no battery", [](C& c) { c.powerSource.batteryPercent.reset(); }},
  };
  for (const auto& [name, change] : rows) {
    auto context = working();
    change(context);
    EXPECT_EQ(decide(context), claudeWorks) << name;
  }
}

TEST(WakePolicyEngine, ChargingIsNotOnAcForTheAcOnlyMode) {
  auto context = working();
  context.config.onlyOnAC = true;
  context.powerSource.isCharging = true;
  EXPECT_TRUE(WakePolicyEngine().evaluate(context).isBlocked(SafetyBlock::acDisconnected));
}

TEST(WakePolicyEngine, TheBatteryFloorIsABandWithALatch) {
  struct Row {
    int percent, floor, hysteresis;
    bool latched, blocked;
  };
  constexpr int most = std::numeric_limits<int>::max();
  for (const Row& row :
       {Row{15, 15, 3, false, true}, Row{16, 15, 3, false, false}, Row{17, 15, 3, true, true},
        Row{18, 15, 3, true, false}, Row{50, most, most, true, true},
        Row{-1, std::numeric_limits<int>::min(), -1, true, false}}) {
    auto context = onBattery(row.percent);
    context.config.batteryFloorPercent = row.floor;
    context.config.batteryHysteresisPercent = row.hysteresis;
    context.isCurrentlyBatteryBlocked = row.latched;
    EXPECT_EQ(WakePolicyEngine().evaluate(context).isBlocked(SafetyBlock::batteryBelowFloor), row.blocked)
        << row.percent << " % of " << row.floor << (row.latched ? ", latched" : "");
  }
}

TEST(WakePolicyEngine, OnlyFreshWorkingAndWaitingSessionsHold) {
  struct Row {
    AgentState state;
    double age;
    bool holds;
  };
  for (const Row& row :
       {Row{AgentState::working, 900, true}, Row{AgentState::working, 900.001, false},
        Row{AgentState::waiting, 0, true}, Row{AgentState::working, -3600, true},
        Row{AgentState::working, notANumber, false}, Row{AgentState::working, infinity, false},
        Row{AgentState::working, -1e300, true}, Row{AgentState::unknown, 0, false},
        Row{AgentState::idle, 0, false}, Row{AgentState::completed, 0, false},
        Row{AgentState::error, 0, false}, Row{AgentState::stale, 0, false}}) {
    auto context = onBattery(80);
    context.sessions = table({session(AgentType::claude, row.state, row.age)});
    EXPECT_EQ(decide(context), row.holds ? claudeWorks : nobody)
        << rawValue(row.state) << ", " << row.age << " s old";
  }
}

TEST(WakePolicyEngine, TheReasonNamesEachAgentOnceInOrderAndTheCountIsOfSessions) {
  auto context = onBattery(80);
  std::vector<AgentSession> sessions;
  for (const auto& [type, raw] : RawValues<AgentType>::table)
    sessions.push_back(session(type, AgentState::working, 1));
  sessions.push_back(session(AgentType::cursor, AgentState::waiting, 2));
  sessions.push_back(session(AgentType::claude, AgentState::idle, 2));
  context.sessions = table(sessions);
  EXPECT_EQ(decide(context),
            "Active (10 working agents) — Aider, Antigravity, Claude Code, Codex CLI, Cursor, Custom Agent, "
            "Gemini CLI, OpenCode, Windsurf working");
}

TEST(WakePolicyEngine, TheDebounceHoldsForItsTimeAfterTheLastAgentStopped) {
  struct Row {
    double elapsed, debounce;
    std::string expected;
  };
  const auto holds = [](const std::string& seconds) {
    return "Active (0 working agents) — Release debounce (" + seconds + "s)";
  };
  for (const Row& row :
       {Row{0, 30, holds("30")}, Row{29.2, 30, holds("1")}, Row{18, 30, holds("12")}, Row{30, 30, nobody},
        Row{-0.5, 30, nobody}, Row{0, 0, nobody}, Row{notANumber, 30, nobody}, Row{1, notANumber, nobody},
        Row{1, infinity, holds("1000000000000000")}, Row{1, 1e300, holds("1000000000000000")}}) {
    auto context = onBattery(80);
    context.lastActiveAgentStoppedAt = now - row.elapsed;
    context.config.releaseDebounceSeconds = row.debounce;
    EXPECT_EQ(decide(context), row.expected) << row.elapsed << " s of " << row.debounce;
  }
}

TEST(WakePolicyEngine, EveryHoldAsksForTheDeepHoldAsConfigured) {
  for (const bool deep : {true, false}) {
    auto agents = working();
    auto manual = onBattery(80);
    manual.config.manualHoldEnabled = true;
    auto debounce = onBattery(80);
    debounce.lastActiveAgentStoppedAt = now;
    for (auto* context : {&agents, &manual, &debounce}) {
      context->config.deepLidProtectionEnabled = deep;
      const auto decision = WakePolicyEngine().evaluate(*context);
      ASSERT_TRUE(decision.isHolding());
      EXPECT_EQ(decision.hold()->requiresDeepHold, deep) << decision.statusDescription();
    }
  }
}

TEST(WakeDecision, IsAnObjectWithOneKeyThatNamesTheCase) {
  const std::pair<WakeDecision, const char*> rows[] = {
      {WakeDecision::Blocked{SafetyBlock::thermalCritical},
       R"({"blocked":{"block":"Thermal critical safety cutoff"}})"},
      {WakeDecision::Release{"r"}, R"({"release":{"reason":"r"}})"},
      {WakeDecision::Hold{"h", 2, true},
       R"({"hold":{"reason":"h","activeAgentCount":2,"requiresDeepHold":true}})"}};
  for (const auto& [decision, json] : rows) {
    EXPECT_EQ(encodeRecord(decision), json);
    const auto decoded = decodeRecord<WakeDecision>(json);
    ASSERT_TRUE(decoded) << json;
    EXPECT_EQ(*decoded, decision);
  }
  for (const char* json : {"{}", R"({"keep":{}})", R"({"release":{"reason":"r"},"blocked":{"block":"x"}})"}) {
    const auto decoded = decodeRecord<WakeDecision>(json);
    ASSERT_FALSE(decoded) << json;
    EXPECT_EQ(decoded.error().description, "Invalid number of keys found, expected one.");
  }
}

}  // namespace
}  // namespace vigilo
