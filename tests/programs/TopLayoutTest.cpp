#include "VigiloApp/top/TopLayout.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "VigiloApp/top/DisplayText.h"

namespace vigilo {
namespace {

using Connection = TopModel::Connection;

class TopLayoutTest : public testing::Test {
 protected:
  TopLayoutTest() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    model.now = model.reportedAt = now;
    model.home = "/home/me";
    model.connection = Connection::live;
    model.report = StatusReport{};
    model.report->powerSource = {.batteryPercent = 57, .timeRemainingMinutes = 130};
  }

  StatusReport& report() { return *model.report; }

  void session(AgentType agent, AgentState state, double secondsAgo, const std::string& id,
               const std::string& cwd) {
    report().activeSessionsList.push_back({.id = id,
                                           .agentType = agent,
                                           .state = state,
                                           .startedAt = now - 600 - secondsAgo,
                                           .lastEventAt = now - secondsAgo,
                                           .cwd = cwd});
  }
  void hold(const std::string& reason, int agents) {
    report().currentDecision = WakeDecision::Hold{reason, agents, true};
    report().protectionStartedAt = now - 4325;
    report().idleAssertionActive = true;
    report().helperStatus = DeepSleepStatus{.isHelperInstalled = true,
                                            .isDeepHoldActive = true,
                                            .activeLeaseId = "lease",
                                            .leaseExpiresAt = now + 40,
                                            .originalSleepDisabledState = false,
                                            .currentSystemSleepDisabled = true};
  }
  void budget(AgentType agent, std::int64_t consumed, std::optional<double> quotaUsed) {
    ProviderBudgetReport budget{.agentType = agent, .modelId = "model-1"};
    budget.context = BudgetMetric<ContextBudget>::known(ContextBudget::of(200000, consumed), 1, "test");
    if (quotaUsed) {
      auto quota = AccountQuotaBudget::ofUsedPercent(*quotaUsed);
      quota.resetsAt = now + 5400;
      budget.quota = BudgetMetric<AccountQuotaBudget>::known(quota, 1, "test");
    }
    budget.cost = CostBudget{1.25, true};
    budget.lowBudgetAlert = budget.evaluateAlert(now);
    report().latestBudgetReports[agent] = budget;
  }
  void busyDay() {
    hold("Claude Code, Codex CLI working", 2);
    report().dominantVisualState = VigiloVisualState::working;
    session(AgentType::claude, AgentState::working, 12, "c3530aa1-77e2", "/home/me/src/vigilo");
    session(AgentType::claude, AgentState::waiting, 190, "8f21bb04-11aa",
            "/home/me/src/website/frontend/components");
    session(AgentType::codex, AgentState::working, 2, "01a19c77", "/srv/数据/api");
    budget(AgentType::claude, 114000, std::nullopt);
    budget(AgentType::codex, 50000, 92.5);
    for (int i = 0; i < 24; ++i)
      model.usageHours.push_back({now - 3600.0 * (23 - i), i % 8 < 5 ? 10000 * i * (i % 8) : 0, 1});
    report().todaySummary.totalTokens = 1240000;
    report().todaySummary.estimatedCostUSD = 5.13;
    model.recentLog = {{now - 190, false, "session", "Claude Code waits for you in /home/me/src/website"},
                       {now - 100, true, "hooks", "Failed to bind UNIX domain socket at /x: 98"},
                       {now - 12, false, "decision", "holding: Claude Code, Codex CLI working (2 agents)"}};
  }

  std::string text(int width, int height, const Glyphs& glyphs = Glyphs::unicode()) const {
    return layOutTop(model, width, height, glyphs).screen.text();
  }
  void expect(const std::string& screen, std::initializer_list<const char*> parts) const {
    for (const char* part : parts)
      EXPECT_NE(screen.find(part), std::string::npos) << part << "\nin\n" << screen;
  }

  const Date now = Date::fromUnix(1795262400);  // 12:00:00
  TopModel model;
};

TEST_F(TopLayoutTest, AUsualTerminalShowsEverythingThatMatters) {
  busyDay();
  EXPECT_EQ(text(80, 24), R"(  vigilo  keeps this machine awake while agents work       ● Working  12:00:00

  █▀▀█ █   █ █▀▀█ █ ▄▀ █▀▀▀   Claude Code, Codex CLI working
  █▀▀█ █▄▀▄█ █▀▀█ █▀▄  █▀▀    for 1 h 12 min, since 10:47:55, 2 agents
  ▀  ▀ ▀   ▀ ▀  ▀ ▀  ▀ ▀▀▀▀   until 30 s after the last agent, or 15 % battery

  Idle sleep  held off             Battery  █████░░░ 57 %     Thermal  nominal
  Deep sleep  held off by helper   Power    2 h 10 min left   Lid      open
── Agents ────────────────────────────────────────────── 3 sessions, 3 active ──
  ● Claude Code    2 active
                   ● Working    12 s ago   ~/src/vigilo
                   ◐ Waiting    3 min ago  ~/src/website/frontend/components
  ● Codex CLI ▲    ● Working    2 s ago    /srv/数据/api

── Budgets ─────────────────────────────────────────────────────────────────────
  Codex CLI     context ██░░░░░░  25 %  quota ███████░  93 %  resets in 1 h
                ▲ Account quota is critically low (8% remaining)
  Claude Code   context █████░░░  57 %  quota not known       ~$1.25
── Tokens ──── today 1.24 M ── ── Recent ───────────────────────────────────────
                     ▁█          11:56  Claude Code waits for you in ~/src/webs…
             ▂▆     ▃██          11:58  Failed to bind UNIX domain socket at /x…
   ▁▁▃▅    ▃▆██    ▅███          11:59  holding: Claude Code, Codex CLI working…
       18h   00h   06h now
  q quit   p pause   r resume   h hold   e disable   ? help
)");
}

TEST_F(TopLayoutTest, AWideTerminalHasTwoColumns) {
  busyDay();
  EXPECT_EQ(
      text(120, 40),
      R"(  vigilo  keeps this machine awake while agents work                                               ● Working  12:00:00

  █▀▀█ █   █ █▀▀█ █ ▄▀ █▀▀▀   Claude Code, Codex CLI working
  █▀▀█ █▄▀▄█ █▀▀█ █▀▄  █▀▀    for 1 h 12 min, since 10:47:55, 2 agents
  ▀  ▀ ▀   ▀ ▀  ▀ ▀  ▀ ▀▀▀▀   until 30 s after the last agent, or 15 % battery

  Idle sleep  held off                          Battery  █████░░░ 57 %                  Thermal  nominal
  Deep sleep  held off by helper                Power    2 h 10 min left                Lid      open

── Agents ───────────────────────────────── 3 sessions, 3 active ──  ── Budgets ────────────────────────────────────────
  ● Claude Code    2 active                                            Codex CLI  model-1                        ~$1.25
                   ● Working    12 s ago   ~/src/vigilo                  context ████░░░░░░░░░░░░░  25 %  of 200 k
                   ◐ Waiting    3 min ago  …te/frontend/components       quota   ████████████████░  93 %  resets in 1 h
  ● Codex CLI ▲    ● Working    2 s ago    /srv/数据/api               ▲ Account quota is critically low (8% remaining)

                                                                       Claude Code  model-1                      ~$1.25
                                                                         context ██████████░░░░░░░  57 %  of 200 k
                                                                         quota   not known









── Recent ─────────────────────────────────────────────────────────  ── Tokens ───────────────── today 1.24 M, ~$5.13 ──
  11:56:50  Claude Code waits for you in ~/src/website                                                         ██
  11:58:20  Failed to bind UNIX domain socket at /x: 98                                                        ██
  11:59:48  holding: Claude Code, Codex CLI working (2 agents)                                               ▁▁██
                                                                                                             ████
                                                                                               ██            ████
                                                                                             ▁▁██          ▄▄████
                                                                                             ████          ██████
                                                                                           ▄▄████        ▁▁██████
                                                                             ▁▁██        ▁▁██████        ████████
                                                                         ▁▁▄▄████        ████████        ████████
                                                                                 18h         00h         06h        now
  q quit   p pause   r resume   h hold   e disable   ? help
)");
}

TEST_F(TopLayoutTest, TheDecisionIsSaidInWords) {
  struct Case {
    const char* name;
    std::function<void(StatusReport&)> change;
    std::initializer_list<const char*> parts;
  };
  const Case cases[] = {
      {"idle",
       [](StatusReport& r) { r.currentDecision = WakeDecision::Release{"No active agent sessions"}; },
       {"No active agent sessions", "nothing is held", "No agent is running.",
        "No agent has reported any usage yet."}},
      {"asked for, not in force",
       [](StatusReport& r) { r.helperStatus->currentSystemSleepDisabled = false; },
       {"a closed lid suspends: the hold is asked for, not in force", "asked, not in force"}},
      {"nothing in force",
       [](StatusReport& r) {
         r.inForce = {HoldState::notHeld, IdleHold::refused, DeepHold::noHelper};
       },
       {"N O T   H E L D", "the idle hold was refused; a closed lid suspends: no helper",
        "Idle sleep  refused"}},
      {"asked for a moment ago",
       [](StatusReport& r) {
         r.inForce = {HoldState::notYet, IdleHold::notYet, DeepHold::notYet};
       },
       {"A S K I N G", "Idle sleep  asked for", "Deep sleep  asked for"}},
      {"no helper",
       [](StatusReport& r) { r.helperStatus = DeepSleepStatus{}; },
       {"a closed lid suspends: no helper runs", "not held, no helper"}},
      {"paused",
       [this](StatusReport& r) {
         r.currentDecision = WakeDecision::Blocked{SafetyBlock::paused};
         r.pauseUntil = now + 1799.5;
       },
       {"o Paused", "Protection paused", "30 min left, until 12:29:59", "r ends the pause"}},
      {"paused for long",
       [this](StatusReport& r) {
         r.currentDecision = WakeDecision::Blocked{SafetyBlock::paused};
         r.pauseUntil = now + 86400;
       },
       {"1 d left, until Sun 2026-11-22 12:00:00"}},
      {"disabled",
       [](StatusReport& r) { r.currentDecision = WakeDecision::Blocked{SafetyBlock::masterDisabled}; },
       {"o Off", "Master switch disabled", "e turns protection on"}},
      {"debounce",
       [](StatusReport& r) {
         r.currentDecision = WakeDecision::Hold{"Release debounce (27s)", 0, true};
       },
       {"All agents have stopped; sleep in 22 s"}},
  };
  for (const Case& entry : cases) {
    SCOPED_TRACE(entry.name);
    hold("Claude Code working", 1);
    report().pauseUntil.reset();
    model.reportedAt = now - 5;  // what passes since the report is counted here
    report().inForce.reset();
    entry.change(report());
    expect(text(80, 24, Glyphs::ascii()), entry.parts);
  }
}

TEST_F(TopLayoutTest, ACostOfWhichPartHasNoPriceIsALowerBound) {
  busyDay();
  report().todaySummary.unpricedTurnCount = 143;
  report().latestBudgetReports.at(AgentType::claude).cost = CostBudget{1.25, true, 3};
  expect(text(80, 24), {" ≥ $1.25"});
  expect(text(120, 40), {"≥ $1.25, 3 turns without a price", "today 1.24 M, ≥ $5.13 "});
  expect(text(200, 40), {"today 1.24 M, ≥ $5.13, 143 turns without a price "});
  expect(text(120, 40, Glyphs::ascii()), {">= $5.13 "});
}

TEST_F(TopLayoutTest, WithoutAHostItSaysSoAndShowsNothingOld) {
  busyDay();
  model.report.reset();
  model.connection = Connection::noHost;
  expect(text(80, 24), {"No host runs, so nothing is held", "vigilo run"});
  EXPECT_EQ(text(80, 24).find("Waiting"), std::string::npos);
  model.lostAt = now - 5;
  expect(text(80, 24), {"The host went away at 11:59:55"});
  model.connection = Connection::notAnswering;
  model.trouble = "the running host is another version";
  expect(text(80, 24), {"no answer", "the running host is another version"});
}

TEST_F(TopLayoutTest, ManySessionsScrollWithinWhatThereIs) {
  for (int i = 0; i < 50; ++i)
    session(AgentType::claude, AgentState::working, i, std::to_string(i), "/session-" + std::to_string(i));
  struct Case {
    int asked;
    const char* first;
    const char* last;
  };
  for (const auto& [asked, first, last] : {Case{0, "50 sessions, 50 active", "session-3 "},
                                           {20, "session-19 ", "session-23 "},
                                           {1000, "session-45 ", "session-49 "}}) {
    model.scroll = asked;
    const TopFrame frame = layOutTop(model, 101, 24, Glyphs::unicode());
    std::string screen = frame.screen.text();
    for (auto at = screen.find('\n'); at != std::string::npos; at = screen.find('\n', at + 2))
      screen.insert(at, " ");
    expect(screen, {first, last});
    EXPECT_EQ(frame.scroll, std::min(asked, 51 - frame.scrollPage));
  }
}

// Whatever the size and whatever the agents call themselves, nothing leaves the screen or breaks a character.
TEST_F(TopLayoutTest, EverySizeIsFilledExactly) {
  busyDay();
  session(AgentType::gemini, AgentState::error, 1e9, std::string(300, 'x'), "/" + std::string(500, 'y'));
  session(AgentType::aider, AgentState::stale, -5, "\x1b[2J\xff\xe2\x80",
          "/家家家家家家家家家家家家家家家家家家家家/🚀\u202E");
  model.recentLog.push_back({now, true, "x", "\r\n\x1b]0;title\a" + std::string(200, 'z')});
  std::vector<TopModel> models(4, model);
  models[1].mode = TopModel::Mode::help;
  models[2].mode = TopModel::Mode::pause;
  models[3].report.reset();
  for (const TopModel& each : models)
    for (const Glyphs* glyphs : {&Glyphs::unicode(), &Glyphs::console(), &Glyphs::ascii()})
      for (int width = 0; width <= 130; width += width < 12 ? 1 : 7)
        for (int height = 0; height <= 50; height += height < 24 ? 1 : 13) {
          const Screen screen = layOutTop(each, width, height, *glyphs).screen;
          ASSERT_EQ(screen.lines.size(), static_cast<std::size_t>(height)) << width;
          for (const Line& line : screen.lines) {
            const std::string text = line.text();
            ASSERT_LE(line.width(), width) << height << ": " << text;
            ASSERT_EQ(shown(text), text) << "a control character or a broken one";
            if (!glyphs->isAscii) continue;
            ASSERT_TRUE(std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; })) << text;
          }
        }
}

TEST(DisplayText, CountsColumnsAndCutsBetweenCharacters) {
  struct Case {
    const char* text;
    int width;
    const char* inFive;
  };
  const Case cases[] = {{"abcdef", 6, "abcd…"},        {"数据库", 6, "数据…"}, {"a数据b", 6, "a数…"},
                        {"e\u0301te", 3, "e\u0301te"}, {"🚀🚀🚀", 6, "🚀🚀…"},      {"", 0, ""}};
  for (const auto& [text, width, inFive] : cases) {
    EXPECT_EQ(displayWidth(text), width) << text;
    EXPECT_EQ(fitted(text, 5, "…"), inFive);
  }
  EXPECT_EQ(shown("a\x1b[31m\xc2\x9b\xff\u200Db\u202E\xe2\x82"), "a?[31m??b??");
}

}  // namespace
}  // namespace vigilo
