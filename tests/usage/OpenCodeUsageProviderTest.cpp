#include "usage/OpenCodeUsageProvider.h"

#include <sqlite3.h>

#include "tests/usage/ProviderFixture.h"

namespace vigilo::test {
namespace {

const std::string folder = ".local/share/opencode/";
const std::string database = folder + "opencode.db";

// The agent's end of the database.
class Agent {
 public:
  explicit Agent(const std::string& path) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    EXPECT_EQ(::sqlite3_open(path.c_str(), &database_), SQLITE_OK);
  }
  ~Agent() { ::sqlite3_close(database_); }

  void run(const std::string& sql) {
    EXPECT_EQ(::sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << ::sqlite3_errmsg(database_);
  }
  void createTables(const std::string& journal) {
    run("PRAGMA journal_mode=" + journal +
        "; CREATE TABLE message (id text PRIMARY KEY, session_id text, time_created integer NOT NULL, "
        "time_updated integer NOT NULL, data text);");
  }
  void put(const std::string& id, std::int64_t created, const std::string& data) {
    run("INSERT OR REPLACE INTO message VALUES ('" + id + "', 'ses_1', " + std::to_string(created) +
        ", 0, '" + data + "')");
  }

 private:
  sqlite3* database_ = nullptr;
};

std::string step(int input, const std::string& more = "") {
  return R"({"role":"assistant","tokens":{"input":)" + std::to_string(input) +
         R"(,"output":0,"reasoning":0,"cache":{"write":0,"read":0}})" + more + "}";
}

class OpenCodeUsageProviderTest : public ProviderFixture<OpenCodeUsageProvider> {
 protected:
  void create(const std::string& journal = "WAL") {
    agent = std::make_unique<Agent>(home.path(database));
    agent->createTables(journal);
  }
  std::unique_ptr<Agent> agent;
};

TEST_F(OpenCodeUsageProviderTest, AStepBecomesAnEventAndTheReport) {
  create();
  agent->put(
      "msg_1", 1795244334586,
      R"({"role":"assistant","cost":0.002115,"tokens":{"total":1245,"input":400,"output":33,"reasoning":12,)"
      R"("cache":{"write":7,"read":800}},"modelID":"gpt-4o","model":"other","providerID":"mock"})");
  UsageEvent event = pollOne();
  event.id.clear();
  const UsageEvent expected{.agentType = AgentType::opencode,
                            .sessionId = "ses_1",
                            .turnId = "msg_1",
                            .modelId = "gpt-4o",
                            .inputTokens = 400,
                            .outputTokens = 33,
                            .cachedTokens = 800,
                            .cacheWriteTokens = 7,
                            .reasoningTokens = 12,
                            .totalTokens = 1245,
                            .contextWindow = 128000,
                            .costEstimateUSD = 0.002115,  // not the estimate
                            .timestamp = Date::fromUnix(1795244334.586),
                            .source = "opencode-db"};
  EXPECT_EQ(event, expected);
  EXPECT_EQ(report().context.value(), ContextBudget::of(128000, 1245));
  EXPECT_EQ(report().cost, (CostBudget{0.002115, true}));
  EXPECT_EQ(report().quota.unavailableReason(), "Quota unavailable");
}

TEST_F(OpenCodeUsageProviderTest, RowsAreReadAsFarAsTheyMakeSense) {
  create();
  agent->put("text", 1, R"({"text":"the word \"tokens\" alone"})");
  agent->put("array", 2, R"({"tokens":[1]})");
  agent->put("broken", 3, R"({"tokens":{"input":1})");
  agent->put("huge", 4, step(1).replace(step(1).find("\"output\":0"), 10, R"("output":9000000000000)"));
  agent->put("timeless", 0, step(1, R"(,"model":"o1","cost":"much")"));
  agent->run("INSERT INTO message VALUES ('none', 'ses_1', 5, 0, NULL), ('homeless', NULL, 6, 0, '" +
             step(1) + "')");
  const auto events = poll();
  EXPECT_EQ(turns(events), (std::vector<std::string>{"timeless", "huge"}));
  EXPECT_EQ(events.at(0).timestamp, time.now());
  EXPECT_EQ(events.at(0).modelId, "o1");
  EXPECT_DOUBLE_EQ(events.at(0).costEstimateUSD.value_or(0), 15e-6);
  EXPECT_EQ(events.at(1).outputTokens, std::nullopt);
  EXPECT_EQ(events.at(1).modelId, std::nullopt);
}

TEST_F(OpenCodeUsageProviderTest, AStepThatStillRunsIsLeftForLater) {
  create();
  agent->put("running", 10, step(0));
  agent->put("done", 20, step(5, R"(,"modelID":"o1")"));
  EXPECT_EQ(turns(poll()), std::vector<std::string>{"done"});
  agent->put("running", 10, step(7, R"(,"modelID":"gpt-4o")"));
  EXPECT_EQ(turns(poll()), std::vector<std::string>{"running"});
  EXPECT_EQ(report().modelId, "o1");  // of the newest step
  agent->put("done", 20, step(6));
  EXPECT_TRUE(poll().empty());  // each message once
}

TEST_F(OpenCodeUsageProviderTest, TheNewest25AreDeliveredOldestFirst) {
  create();
  for (int i = 1; i <= 30; ++i) agent->put("m" + std::to_string(i), i, step(i));
  const auto events = poll();
  ASSERT_EQ(events.size(), 25u);
  EXPECT_EQ(events.front().turnId, "m6");
  EXPECT_EQ(events.back().turnId, "m30");
  EXPECT_EQ(report().sessionUsage.inputTokens, 30);
}

// In each state in which an agent may leave its files: what is read, and that nothing changes beside it.
TEST_F(OpenCodeUsageProviderTest, TheAgentsFolderStaysAsItIs) {
  const auto files = [this] {
    auto all = contents(home.path(folder));
    if (all.contains(home.path(database) + "-shm")) all[home.path(database) + "-shm"] = "";
    return all;
  };
  for (const char* journal : {"WAL", "DELETE"}) {
    create(journal);
    agent->put(std::string("live") + journal, 1, step(1));
    auto before = files();
    EXPECT_EQ(poll().size(), 1u) << journal;
    EXPECT_EQ(files(), before) << journal;

    agent->put(std::string("closed") + journal, 2, step(1));
    agent.reset();  // which writes back and removes the log
    before = files();
    EXPECT_EQ(before.size(), 1u);
    EXPECT_EQ(poll().size(), 1u) << journal;
    EXPECT_EQ(files(), before) << journal;
    std::filesystem::remove(home.path(database));
  }
}

TEST_F(OpenCodeUsageProviderTest, ALogWithoutItsIndexWaits) {
  create();
  agent->put("a", 1, step(1));
  // As after a crash of which only two files were kept.
  for (const char* suffix : {"", "-wal"}) {
    std::filesystem::copy(home.path(database + suffix), home.path("kept" + std::string(suffix)));
  }
  agent.reset();
  for (const char* suffix : {"", "-wal"}) {
    std::filesystem::rename(home.path("kept" + std::string(suffix)), home.path(database + suffix));
  }
  const auto before = contents(home.path(folder));
  EXPECT_TRUE(poll().empty());
  EXPECT_EQ(contents(home.path(folder)), before);
  agent = std::make_unique<Agent>(home.path(database));
  agent->run("SELECT count(*) FROM message");  // makes the index, and changes neither file
  EXPECT_EQ(turns(poll()), std::vector<std::string>{"a"});
}

TEST_F(OpenCodeUsageProviderTest, UnchangedFilesAreNotOpened) {
  create();
  agent->put("a", 1, step(1));
  OpenedFiles opened(home.path(folder));
  EXPECT_EQ(poll().size(), 1u);
  EXPECT_FALSE(opened.take().empty());
  EXPECT_TRUE(poll().empty());
  EXPECT_EQ(opened.take(), std::vector<std::string>{});
}

TEST_F(OpenCodeUsageProviderTest, ALockedDatabaseIsReadOnceItIsFree) {
  create("DELETE");
  agent->put("a", 1, step(1));
  agent->run("BEGIN EXCLUSIVE");
  EXPECT_TRUE(poll().empty());
  agent->run("COMMIT");
  EXPECT_EQ(poll().size(), 1u);
}

TEST_F(OpenCodeUsageProviderTest, WhatIsNoDatabaseOfTheAgentIsPassedOver) {
  EXPECT_TRUE(poll().empty());  // none yet
  create("DELETE");
  agent->put("a", 1, step(1));
  agent.reset();
  const std::string whole = home.read(database);
  std::string damaged = whole;
  for (std::size_t i = 100; i < damaged.size(); i += 7) damaged[i] = '\xA5';
  const std::string variants[] = {"",
                                  "no database",
                                  whole.substr(0, whole.size() / 2),
                                  whole.substr(0, 100),
                                  damaged,
                                  std::string(whole).replace(16, 2, "\xFF\xFF")};
  for (const auto& variant : variants) {
    home.write(database, variant);
    EXPECT_TRUE(poll().empty()) << variant.size();
  }
  std::filesystem::remove(home.path(database));
  Agent(home.path(database)).run("CREATE TABLE message (id text, text text)");
  EXPECT_TRUE(poll().empty());
  std::filesystem::remove(home.path(database));
  std::filesystem::create_directories(home.path(database));
  EXPECT_TRUE(poll().empty());
  std::filesystem::remove(home.path(database));
  EXPECT_TRUE(log.take().empty());
  home.write(database, whole);
  EXPECT_EQ(poll().size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(home.path(database) + "-journal"));
}

// The path is part of an address in which these characters mean something.
TEST(OpenCodeUsagePath, AHomeFolderMayHaveAnyName) {
  TempFolder parent;
  VirtualTime time;
  const auto queue = time.queue("q");
  const std::string home = parent.path("50% off?#1 x");
  Agent agent(home + "/" + database);
  agent.createTables("WAL");
  agent.put("a", 1, step(1));
  OpenCodeUsageProvider provider(Directories::below(home), *queue, time.clock());
  EXPECT_EQ(provider.pollLatestEvents().size(), 1u);
}

}  // namespace
}  // namespace vigilo::test
