#include "usage/ClaudeUsageProvider.h"

#include <sys/fsuid.h>

#include <random>

#include "tests/usage/ProviderFixture.h"
#include "usage/LogFolder.h"
#include "usage/SessionReports.h"

namespace vigilo::test {
namespace {

const std::string project = ".claude/projects/-Users-me-proj/";

// A line as the agent writes it, with "id" left out of the message where it is empty.
std::string line(const std::string& id, const std::string& usage = R"({"input_tokens":10,"output_tokens":5})",
                 const std::string& type = "assistant") {
  const std::string named = id.empty() ? "" : R"("id":")" + id + R"(",)";
  return R"({"parentUuid":null,"isSidechain":false,"message":{)" + named +
         R"("type":"message","role":"assistant","model":"claude-opus-5-5","content":[{"type":"text",)"
         R"("text":"a \"usage\" \u001b[0m"}],"usage":)" +
         usage + R"(,"stop_details":null},"type":")" + type +
         R"(","timestamp":"2026-11-20T06:58:23Z","sessionId":"session","version":"2.1.329"})";
}

class ClaudeUsageProviderTest : public ProviderFixture<ClaudeUsageProvider> {
 protected:
  void write(const std::string& name, const std::string& text) { home.write(project + name, text); }
  void add(const std::string& name, const std::string& text) { append(home.path(project + name), text); }
};

TEST_F(ClaudeUsageProviderTest, ALineBecomesAnEventAndTheReport) {
  write(
      "a.jsonl",
      R"({"parentUuid":"5d3e","isSidechain":false,"message":{"id":"msg_1","type":"message","role":"assistant",)"
      R"("model":"claude-opus-5-5","content":[],"usage":{"input_tokens":120000,)"
      R"("cache_creation_input_tokens":30000,"cache_read_input_tokens":20000,"output_tokens":4500,)"
      R"("output_tokens_details":{"thinking_tokens":12},"cache_creation":{"ephemeral_5m_input_tokens":300},)"
      R"("service_tier":"standard"}},"type":"assistant","uuid":"872e","timestamp":"2026-11-20T06:58:23Z",)"
      R"("sessionId":"c353","version":"2.1.329"})"
      "\n");
  UsageEvent event = pollOne();
  EXPECT_EQ(event.id.size(), 36u);
  event.id.clear();
  const double cost = 0.12 * 15 + 0.0045 * 75 + 0.02 * 1.5 + 0.03 * 18.75 + 0.000012 * 75;
  EXPECT_NEAR(event.costEstimateUSD.value_or(0), cost, 1e-9);
  const UsageEvent expected{.agentType = AgentType::claude,
                            .sessionId = "c353",
                            .turnId = "msg_1",
                            .modelId = "claude-opus-5-5",
                            .inputTokens = 120000,
                            .outputTokens = 4500,
                            .cachedTokens = 20000,
                            .cacheWriteTokens = 30000,
                            .reasoningTokens = 12,
                            .totalTokens = 174500,
                            .contextWindow = 200000,
                            .costEstimateUSD = event.costEstimateUSD,
                            .timestamp = *Date::fromIso8601("2026-11-20T06:58:23Z"),
                            .source = "claude-project-log"};
  EXPECT_EQ(event, expected);

  const auto budget = report();
  EXPECT_EQ(budget.context.value(), ContextBudget::of(200000, 174500));
  EXPECT_EQ(budget.quota.unavailableReason(), "Quota unavailable");
  EXPECT_EQ(budget.cost, (CostBudget{*event.costEstimateUSD, true}));
  EXPECT_EQ(budget.sessionUsage.reasoningTokens, 12);
  EXPECT_EQ(budget.lastUpdated, time.now());
  ASSERT_TRUE(budget.lowBudgetAlert);
  EXPECT_EQ(budget.lowBudgetAlert->message, "Context window is low (13% remaining)");
}

// A sub-agent has a context of its own: in its own file, or in older releases in a chain beside the main one.
TEST_F(ClaudeUsageProviderTest, ASubAgentHidesNoContextThatIsNearlyFull) {
  const auto seconds = static_cast<std::int64_t>(time.now().unixSeconds());
  const std::string full = R"({"input_tokens":188000,"output_tokens":5})";
  const std::string little = R"({"input_tokens":2000,"output_tokens":5})";
  std::string beside = line("s1", little);
  beside.replace(beside.find("false"), 5, "true");
  write("session.jsonl", line("m1", full) + "\n" + beside + "\n");
  setModified(project + "session.jsonl", seconds - 20);
  poll();
  const auto expectNearlyFull = [this] {
    EXPECT_EQ(report().context.value(), ContextBudget::of(200000, 188005));
    ASSERT_TRUE(report().lowBudgetAlert);
    EXPECT_EQ(report().lowBudgetAlert->level, LowBudgetLevel::critical);
  };
  expectNearlyFull();
  // The main conversation waits for as long as the other one works.
  time.advance(1000);
  write("session/subagents/agent-1.jsonl", line("s2", little) + "\n");
  setModified(project + "session/subagents/agent-1.jsonl", seconds + 1000);
  poll();
  expectNearlyFull();
  add("session.jsonl", line("m2", little) + "\n");
  setModified(project + "session.jsonl", seconds + 1001);
  poll();
  EXPECT_FALSE(report().lowBudgetAlert) << "its context was compacted";
  // Another session, and then nobody for a while.
  std::string other = line("o1", full);
  other.replace(other.find(R"("session")"), 9, R"("other")");
  write("other.jsonl", other + "\n");
  setModified(project + "other.jsonl", seconds + 1000);
  poll();
  add("session.jsonl", line("m3", little) + "\n");
  setModified(project + "session.jsonl", seconds + 1002);
  poll();
  EXPECT_EQ(report().sessionId, "other");
  time.advance(SessionReports::activeSeconds);
  poll();
  EXPECT_EQ(report().sessionId, "session");
  EXPECT_FALSE(report().lowBudgetAlert);
}

struct LineCase {
  const char* name;
  std::string text;
  std::optional<std::int64_t> total;  // absent: no event
};

TEST_F(ClaudeUsageProviderTest, OnlyAnswersWithCountsAreUsed) {
  const LineCase cases[] = {
      {"result", line("m", R"({"input_tokens":3})", "result"), 3},
      {"user", line("m", R"({"input_tokens":3})", "user"), {}},
      {"cache read alone", line("m", R"({"cache_read_input_tokens":1})"), 1},
      {"thinking alone", line("m", R"({"output_tokens_details":{"thinking_tokens":9}})"), {}},
      {"zeros", line("m", R"({"input_tokens":0,"output_tokens":0})"), {}},
      {"usage beside the message", R"({"type":"assistant","usage":{"input_tokens":3},"message":{}})", {}},
      {"wrong types", line("m", R"({"input_tokens":"7","output_tokens":true,"cache_read_input_tokens":4})"),
       4},
      {"a fraction", line("m", R"({"input_tokens":7.5,"output_tokens":2})"), 2},
      {"beyond the plausible", line("m", R"({"input_tokens":1000000000001,"output_tokens":2})"), 2},
      {"beyond 64 bits", line("m", R"({"input_tokens":99999999999999999999999,"output_tokens":2})"), 2},
      {"the largest plausible", line("m", R"({"input_tokens":1000000000000})"), 1000000000000},
      {"half a surrogate pair in a text", R"({"cut":"\ud83d",)" + line("m").substr(1), 15},
      {"not closed", line("m").substr(0, line("m").size() - 1), {}},
      {"something behind it", line("m") + " 1", {}},
      {"a bad number", R"({"x":01,)" + line("m").substr(1), {}},
      {"text that is not UTF-8", "{\"x\":\"\xE2\x82\"," + line("m").substr(1), {}},
  };
  int index = 0;
  for (const auto& each : cases) {
    write(std::to_string(index++) + ".jsonl", each.text + "\n");
    const auto events = poll();
    EXPECT_EQ(events.empty() ? std::nullopt : events.front().totalTokens, each.total) << each.name;
  }
}

TEST_F(ClaudeUsageProviderTest, WhatALineLeavesOutIsFilledIn) {
  write(
      "file.name.jsonl",
      "{}\n\n\r\n"
      R"({"type":"assistant","message":{"usage":{"output_tokens":5}},"timestamp":"2026-11-20T06:58:23.020Z"})"
      "\n"
      R"({"type":"assistant","uuid":"u","message":{"model":" GPT-4O ","id":7,"usage":{"input_tokens":-9000000,)"
      R"("output_tokens":9000001}},"sessionId":1})"
      "\n"
      R"({"type":"assistant","uuid":"v","message":{"model":"unheard-of","usage":{"input_tokens":1}}})");
  const auto events = poll();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(turns(events), (std::vector<std::string>{"file.name_turn_1", "u", "v"}));
  EXPECT_EQ(events[0].sessionId, "file.name");
  EXPECT_EQ(events[0].modelId, "claude-3-5-sonnet");
  EXPECT_EQ(events[0].timestamp, time.now());  // fractions of a second are not read
  EXPECT_DOUBLE_EQ(events[1].costEstimateUSD.value_or(0), -9 * 2.5 + 9.000001 * 10);
  EXPECT_EQ(events[1].contextWindow, 128000);
  EXPECT_EQ(events[2].costEstimateUSD, std::nullopt);
  EXPECT_EQ(events[2].contextWindow, 200000);
  EXPECT_EQ(report().cost, std::nullopt);
}

TEST_F(ClaudeUsageProviderTest, ANegativeCostIsReportedAsZero) {
  write("a.jsonl", line("m", R"({"input_tokens":10,"cache_creation_input_tokens":-9})"));
  EXPECT_LT(pollOne().costEstimateUSD.value_or(0), 0);
  EXPECT_EQ(report().cost, (CostBudget{0, true}));
}

TEST_F(ClaudeUsageProviderTest, LinesAreSplitAtOtherNewlinesOnlyWhereTheyAreNoObject) {
  std::string separators;
  int count = 0;
  for (const char* each : {"\v", "\f", "\r", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
    separators += line("s" + std::to_string(count++)) + each;
  }
  std::string raw = line("raw");
  raw.insert(raw.find("usage"), "\xE2\x80\xA8\xC2\x85");
  write("a.jsonl", separators + line("") + "\n" + raw + "\n" + line("") + "\n");
  EXPECT_EQ(turns(poll()), (std::vector<std::string>{"s0", "s1", "s2", "s3", "s4", "s5", "session_turn_6",
                                                     "raw", "session_turn_8"}));
}

TEST_F(ClaudeUsageProviderTest, AnIncompleteLastLineWaitsForItsEnd) {
  const std::string whole = line("whole");
  write("a.jsonl", line("first") + "\n");
  EXPECT_EQ(turns(poll()), std::vector<std::string>{"first"});
  for (std::size_t cut = 1; cut < whole.size(); ++cut) {
    write("a.jsonl", line("first") + "\n" + whole.substr(0, cut));
    ASSERT_TRUE(poll().empty()) << cut;
  }
  write("a.jsonl", line("first") + "\n" + whole);
  EXPECT_EQ(turns(poll()), std::vector<std::string>{"whole"});  // an object needs no line feed to be whole
  add("a.jsonl", "\n" + line("next") + "\n");
  EXPECT_EQ(turns(poll()), std::vector<std::string>{"next"});
}

TEST_F(ClaudeUsageProviderTest, OnlyTheNewestFiveFilesAreReadOldestFirst) {
  for (int i = 0; i < 7; ++i) {
    const std::string name = (i % 2 ? "" : "sub/agents/") + std::to_string(i) + ".jsonl";
    write(name, line("m" + std::to_string(i)) + "\n");
    setModified(project + name, 1000 - i);
  }
  write("newer.json", line("x") + "\n");
  write(".jsonl", line("y") + "\n");
  EXPECT_EQ(turns(poll()), (std::vector<std::string>{"m4", "m3", "m2", "m1", "m0"}));
  EXPECT_TRUE(poll().empty());
  add("sub/agents/6.jsonl", "");
  setModified(project + "sub/agents/6.jsonl", 2000);
  EXPECT_EQ(turns(poll()), std::vector<std::string>{"m6"});
}

TEST_F(ClaudeUsageProviderTest, AFileAsItWasIsNotOpenedAgain) {
  write("a.jsonl", line("m") + "\n{\"half\":");
  write("b.jsonl", "");
  OpenedFiles opened(home.path(project));
  EXPECT_EQ(poll().size(), 1u);
  EXPECT_EQ(opened.take().size(), 2u);
  EXPECT_TRUE(poll().empty());
  EXPECT_EQ(opened.take(), std::vector<std::string>{});
  add("a.jsonl", "1}\n");
  opened.take();
  EXPECT_TRUE(poll().empty());
  EXPECT_EQ(opened.take(), std::vector<std::string>{"a.jsonl"});
}

TEST_F(ClaudeUsageProviderTest, AShrunkOrReplacedFileIsReadFromItsStart) {
  write("a.jsonl", line("one") + "\n" + line("two") + "\n");
  EXPECT_EQ(poll().size(), 2u);
  write("a.jsonl", line("three") + "\n");
  EXPECT_EQ(turns(poll()), std::vector<std::string>{"three"});
  write("new", line("four") + "\n" + line("five") + "\n" + line("six") + "\n");
  std::filesystem::rename(home.path(project + "new"), home.path(project + "a.jsonl"));
  EXPECT_EQ(turns(poll()), (std::vector<std::string>{"four", "five", "six"}));
  std::filesystem::remove(home.path(project + "a.jsonl"));
  EXPECT_TRUE(poll().empty());
}

TEST_F(ClaudeUsageProviderTest, WhatCannotBeReadIsPassedOver) {
  EXPECT_TRUE(poll().empty());  // no folder yet
  EXPECT_FALSE(provider.latestBudgetReport());
  write("rubbish.jsonl",
        std::string("\x00\xff{\"usage\"\n\x80\"usage\"\xc2\n[[[{\"usage\":", 34) + "\n" + line("a") + "\n");
  write("deep.jsonl", "{\"usage\":" + std::string(100000, '[') + "\n" + line("b") + "\n");
  std::filesystem::create_directories(home.path(project + "folder.jsonl"));
  std::filesystem::create_directories(home.path(project + "closed"));
  std::filesystem::create_symlink("nowhere", home.path(project + "broken.jsonl"));
  std::filesystem::create_symlink("..", home.path(project + "loop"));
  ASSERT_EQ(::mkfifo(home.path(project + "pipe.jsonl").c_str(), 0600), 0);
  write("closed/c.jsonl", line("c") + "\n");
  write("unreadable.jsonl", line("d") + "\n");
  ::chmod(home.path(project + "closed").c_str(), 0);
  ::chmod(home.path(project + "unreadable.jsonl").c_str(), 0);
  const bool isRoot = ::geteuid() == 0;  // whom no permission stops
  if (isRoot) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path())) {
      if (::lchown(entry.path().c_str(), 65534, 65534) != 0) GTEST_SKIP() << "this root may be nobody else";
    }
    ::chmod(home.path().c_str(), 0755);
    ::setfsuid(65534);
    if (::setfsuid(static_cast<uid_t>(-1)) != 65534) GTEST_SKIP() << "this root may be nobody else";
  }
  auto found = turns(poll());
  if (isRoot) ::setfsuid(0);
  ::chmod(home.path(project + "closed").c_str(), 0700);
  std::ranges::sort(found);
  EXPECT_EQ(found, (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(log.take().empty());
}

TEST_F(ClaudeUsageProviderTest, MonitoringDeliversTheBacklogThenPollsEveryThreeSeconds) {
  write("a.jsonl", line("one") + "\n" + line("two") + "\n");
  const auto before = contents(home.path());
  std::vector<std::vector<std::string>> batches;
  provider.startMonitoring([&](std::vector<UsageEvent> events) { batches.push_back(turns(events)); }, [] {});
  EXPECT_TRUE(batches.empty());  // it returns at once
  time.runUntilIdle();
  EXPECT_EQ(log.take(), std::vector<std::string>{"info [usage.claude] ClaudeUsageProvider active on " +
                                                 home.path(".claude/projects")});
  EXPECT_EQ(contents(home.path()), before);
  using Batches = std::vector<std::vector<std::string>>;
  EXPECT_EQ(batches, (Batches{{"one", "two"}}));
  add("a.jsonl", line("three") + "\n");
  time.advance(2.9);
  EXPECT_EQ(batches.size(), 1u);
  time.advance(0.1);
  EXPECT_EQ(batches.back(), std::vector<std::string>{"three"});
  add("a.jsonl", line("four") + "\n");
  EXPECT_EQ(turns(poll()), std::vector<std::string>{"four"});
  EXPECT_EQ(batches.back(), std::vector<std::string>{"four"});  // a poll that was asked for is delivered too
  time.advance(9);
  EXPECT_EQ(batches.size(), 3u);  // nothing new, no batch
  provider.stopMonitoring();
  add("a.jsonl", line("five") + "\n");
  time.advance(9);
  EXPECT_EQ(batches.size(), 3u);
}

// Whatever bytes a log holds, intact lines among them are read, and nothing else happens.
TEST_F(ClaudeUsageProviderTest, DamageStaysWithinItsLine) {
  std::mt19937 random(20261121);
  const std::string good = line("good");
  for (int round = 0; round < 300; ++round) {
    std::string damaged = good;
    for (unsigned changes = 1 + random() % 8; changes > 0; --changes) {
      const char byte = static_cast<char>(random() % 256);
      if (byte != '\n') damaged[random() % damaged.size()] = byte;
    }
    if (round % 3 == 0) damaged = damaged.substr(random() % damaged.size());
    const std::string name = std::to_string(round) + ".jsonl";
    write(name, good + "\n" + damaged + "\n" + good + "\n");
    const auto events = poll();
    ASSERT_GE(events.size(), 2u) << damaged;
    ASSERT_EQ(events.front().turnId, "good") << damaged;
    ASSERT_EQ(events.back().turnId, "good") << damaged;
    std::filesystem::remove(home.path(project + name));
  }
}

}  // namespace
}  // namespace vigilo::test
