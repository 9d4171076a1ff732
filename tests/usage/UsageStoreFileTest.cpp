#include <gtest/gtest.h>

#include <filesystem>

#include "support/RecordCoder.h"
#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"
#include "usage/UsageStore.h"

namespace vigilo {
namespace {

const std::string folderName = "Library/Application Support/Vigilo/";
const std::string fileName = folderName + "usage_store.json";

UsageEvent turn(const std::string& turnId) {
  return UsageEvent::make({.id = "e",
                           .agentType = AgentType::codex,
                           .sessionId = "s",
                           .turnId = turnId,
                           .inputTokens = 10,
                           .timestamp = {100},
                           .source = "test"});
}

const std::string storedEvent = encodeRecord(turn("1"));
const std::string storedSession = encodeRecord(SessionUsageRecord{.id = "s",
                                                                  .agentType = AgentType::codex,
                                                                  .startedAt = {100},
                                                                  .lastActiveAt = {100},
                                                                  .totalTokens = 10,
                                                                  .inputTokens = 10});

std::string file(const std::string& version, const std::string& events, const std::string& sessions,
                 const std::string& keys) {
  return "{" + version + R"("events":[)" + events + R"(],"sessions":{)" + sessions + R"(},"seenKeys":[)" +
         keys + "]}";
}

class UsageStoreFileTest : public ::testing::Test {
 protected:
  UsageStore store() {
    return UsageStore(
        Directories::below(home_.path()), [this](const std::string& path) { return mayWrite_(path); },
        [] { return Date{100}; });
  }
  bool exists(const std::string& name) const {
    return std::filesystem::exists(home_.path(folderName + name));
  }

  test::TempFolder home_;
  test::MemorySink log_;
  WriteGate mayWrite_ = [](const std::string&) { return true; };
};

TEST_F(UsageStoreFileTest, LoadingTakesOverEventsSessionsAndKeys) {
  home_.write(fileName,
              R"( {"unknown":{"events":[[1,{"a":[]}]]},"seenKeys":["codex_s_9"], "sessions":{"s":)" +
                  storedSession + R"(},"events":[{"more":{"a":[1]},)" + storedEvent.substr(1) +
                  R"(],"schemaVersion":7})");
  auto store = this->store();
  store.load();
  EXPECT_EQ(log_.take(),
            std::vector<std::string>{
                "info [usage.store] Loaded 1 usage events across 1 sessions from disk (schema v7)"});
  EXPECT_EQ(store.allEvents(), std::vector{turn("1")});
  auto session = store.recentSessions(9).at(0);
  EXPECT_EQ(session.unpricedTurnCount, 1);
  session.unpricedTurnCount.reset();
  EXPECT_EQ(encodeRecord(session), storedSession);
  EXPECT_EQ(store.record(std::vector{turn("1"), turn("9"), turn("2")}), (std::vector{false, false, true}));
  EXPECT_FALSE(this->store().record(turn("9")));  // the key without an event was saved too
}

TEST_F(UsageStoreFileTest, FilesWithoutAVersionAreSavedInTheCurrentFormatAtOnce) {
  for (const char* version : {"", R"("schemaVersion":null,)", R"("schemaVersion":"1",)",
                              R"("schemaVersion":[1],)", R"("schemaVersion":1.5,)"}) {
    const std::string content = storedEvent, sessions = R"("s":)" + storedSession, keys = R"("codex_s_1")";
    home_.write(fileName, file(version, content, sessions, keys));
    store().load();
    EXPECT_EQ(log_.take(),
              std::vector<std::string>{
                  "info [usage.store] Migrated 1 usage events from legacy schema to schema v1"})
        << version;
    EXPECT_EQ(home_.read(fileName), file(R"("schemaVersion":1,)", content, sessions, keys));
  }
}

TEST_F(UsageStoreFileTest, WhatIsNoStoreIsKeptAsideBeforeTheFirstSave) {
  const std::string good = file(R"("schemaVersion":1,)", storedEvent, R"("s":)" + storedSession, "");
  const std::string hugeEvent = [] {
    UsageEvent event = turn("1");
    event.inputTokens = std::numeric_limits<std::int64_t>::max();
    return encodeRecord(event);
  }();
  std::string hugeSession = storedSession;
  hugeSession.replace(hugeSession.find(R"("inputTokens":10)"), 16, R"("inputTokens":9223372036854775807)");
  std::size_t number = 0;
  for (const std::string& content : {
           std::string(""),
           std::string("[]"),
           std::string("null"),
           good.substr(0, good.size() - 1),
           good + "x",
           good + std::string(1, '\0') + "x",
           std::string(R"({"schemaVersion":1,"events":[],"sessions":{}})"),
           std::string(R"({"schemaVersion":1,"events":{},"sessions":{},"seenKeys":[]})"),
           std::string(R"({"schemaVersion":1,"events":null,"sessions":{},"seenKeys":[]})"),
           std::string(R"({"schemaVersion":1,"events":[],"events":[],"sessions":{},"seenKeys":[]})"),
           file(R"("schemaVersion":1,)", "1", "", ""),
           file(R"("schemaVersion":1,)", R"({"id":"e"})", "", ""),
           file(R"("schemaVersion":1,)", "", R"("s":[])", ""),
           file(R"("schemaVersion":1,)", "", "", "[\"k\"]"),
           file(R"("schemaVersion":1,)", "", "", "1e999"),
           file(R"("schemaVersion":1,)", hugeEvent, "", ""),
           file(R"("schemaVersion":1,)", "", R"("s":)" + hugeSession, ""),
           std::string(R"({"x":)") + std::string(100000, '['),
       }) {
    home_.write(fileName, content);
    auto store = this->store();
    store.load();
    EXPECT_EQ(home_.read(fileName), content);
    EXPECT_TRUE(store.record(turn("1"))) << content;
    EXPECT_EQ(this->store().allEvents(), std::vector{turn("1")});
    const std::string aside = fileName + ".unreadable" + (number == 0 ? "" : "." + std::to_string(number));
    EXPECT_EQ(home_.read(aside), content);
    ++number;
  }
}

TEST_F(UsageStoreFileTest, NothingIsSavedWhereTheUnreadableFileCannotBeMoved) {
  home_.write(fileName, "damaged");
  mayWrite_ = [](const std::string& path) { return path.find(".unreadable") == std::string::npos; };
  auto store = this->store();
  EXPECT_TRUE(store.record(turn("1")));
  EXPECT_TRUE(store.record(turn("2")));
  store.syncToDisk();
  EXPECT_EQ(home_.read(fileName), "damaged");
  EXPECT_EQ(log_.take(), std::vector<std::string>{
                             "error [usage.store] Failed to save usage store: " + home_.path(fileName) +
                             " cannot be read (not valid JSON (byte 1)) nor moved aside; "
                             "nothing is saved, so that nothing in it is lost"});
  EXPECT_EQ(store.allEvents().size(), 2u);
}

TEST_F(UsageStoreFileTest, FileThatCannotBeReadAtAllIsKeptAside) {
  std::filesystem::create_directories(home_.path(fileName + "/folder in its place"));
  EXPECT_TRUE(store().record(turn("1")));
  EXPECT_TRUE(exists("usage_store.json.unreadable/folder in its place"));
  EXPECT_EQ(store().allEvents(), std::vector{turn("1")});
}

// Nobody can say what stands there, so nothing may be overwritten.
TEST_F(UsageStoreFileTest, FolderThatCannotBeSearchedBarsSaving) {
  home_.write(folderName + "x", "");
  std::filesystem::remove_all(home_.path(folderName));
  const std::string folder = home_.path("Library/Application Support/Vigilo");
  std::filesystem::create_symlink(folder, folder);  // leads to itself
  auto store = this->store();
  EXPECT_TRUE(store.record(turn("1")));
  EXPECT_TRUE(store.record(turn("2")));
  EXPECT_EQ(log_.take().size(), 1u);
  EXPECT_EQ(store.allEvents().size(), 2u);
}

TEST_F(UsageStoreFileTest, FailingSavesAreToldOnceAndMadeUpFor) {
  auto store = this->store();
  store.record(turn("1"));
  const std::string before = home_.read(fileName);
  mayWrite_ = [](const std::string&) { return false; };
  EXPECT_TRUE(store.record(turn("2")));
  EXPECT_TRUE(store.record(turn("3")));
  EXPECT_EQ(home_.read(fileName), before);
  EXPECT_EQ(log_.take(),
            std::vector<std::string>{
                "error [usage.store] Failed to save usage store: Vigilo write security violation: Cannot "
                "write to '" +
                home_.path(fileName) +
                "'. Reason: Path is outside Vigilo-owned directories. Third-party configuration modification "
                "is prohibited."});
  mayWrite_ = [](const std::string&) { return true; };
  EXPECT_FALSE(store.record(turn("3")));
  EXPECT_EQ(home_.read(fileName), before);  // a duplicate saves nothing
  store.syncToDisk();
  EXPECT_EQ(log_.take(), std::vector<std::string>{"info [usage.store] The usage store is saved again"});
  EXPECT_EQ(this->store().allEvents().size(), 3u);
}

// More than one block of encoded text, and more pieces than one system call takes.
TEST_F(UsageStoreFileTest, LongHistoryReadsBackTheSame) {
  auto store = this->store();
  std::vector<UsageEvent> events;
  for (int i = 0; i < 6000; ++i) {
    UsageEvent event = turn(std::to_string(i));
    event.sessionId = "s" + std::to_string(i % 700);
    event.timestamp = Date{i * 0.1};
    event.costEstimateUSD = i * 1e-7;
    event.source = std::string(static_cast<std::size_t>(i % 500), 'x') + "\"\\\n\xC3\xA9";
    events.push_back(std::move(event));
  }
  store.record(events);
  auto again = this->store();
  EXPECT_EQ(again.allEvents(), events);
  EXPECT_EQ(again.recentSessions(1000), store.recentSessions(1000));
  EXPECT_EQ(again.summary({0}, {1e6}), store.summary({0}, {1e6}));
  const std::string before = home_.read(fileName);
  again.record(turn("new"));
  again.reset();
  again.record(events);
  EXPECT_EQ(home_.read(fileName), before);
}

}  // namespace
}  // namespace vigilo
