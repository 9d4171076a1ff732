#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "support/FileMark.h"
#include "support/RecordCoder.h"
#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"
#include "usage/UsageStore.h"

namespace vigilo {
namespace {

const std::string fileName = "Library/Application Support/Vigilo/usage_store.json";
const std::string journalName = fileName + ".journal";

UsageEvent turn(int number) {
  return UsageEvent::make({.id = std::string(20000, 'x'),
                           .agentType = AgentType::claude,
                           .sessionId = "s" + std::to_string(number % 7),
                           .turnId = std::to_string(number),
                           .inputTokens = number,
                           .costEstimateUSD = number * 0.1,
                           .timestamp = {100.0 + number},
                           .source = "test"});
}

std::vector<UsageEvent> turns(int count) {
  std::vector<UsageEvent> list;
  for (int number = 0; number < count; ++number) list.push_back(turn(number));
  return list;
}

// No file may grow beyond so many bytes, as on a disk that is almost full.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::uintmax_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_{};
  void (*handler_)(int) = ::signal(SIGXFSZ, SIG_IGN);
};

class UsageStoreJournalTest : public ::testing::Test {
 protected:
  // A store that is just large enough.
  static constexpr int stored = 53;

  UsageStoreJournalTest() { store().record(turns(stored)); }

  UsageStore store() {
    return UsageStore(
        Directories::below(home_.path()), [](const std::string&) { return true; }, [] { return Date{100}; });
  }
  std::uintmax_t journalSize() const { return std::filesystem::file_size(home_.path(journalName)); }
  bool hasJournal() const { return std::filesystem::exists(home_.path(journalName)); }
  // What a later run finds, sessions included.
  void expectStored(int count) {
    auto later = store();
    EXPECT_EQ(later.allEvents(), turns(count));
    auto fresh = UsageStore(
        Directories::below(other_.path()), [](const std::string&) { return true; }, [] { return Date{100}; });
    fresh.reset();
    fresh.record(turns(count));
    EXPECT_EQ(later.recentSessions(99), fresh.recentSessions(99));
  }

  test::TempFolder home_;
  test::TempFolder other_;
  test::MemorySink log_;
};

TEST_F(UsageStoreJournalTest, AnEventInALargeStoreCostsItsOwnLineAndRarelyAWholeFile) {
  const std::string before = home_.read(fileName);
  EXPECT_FALSE(hasJournal());
  auto store = this->store();
  for (int number = stored; number < stored + 3; ++number) EXPECT_TRUE(store.record(turn(number)));
  EXPECT_EQ(home_.read(fileName), before);
  EXPECT_EQ(home_.read(journalName), encodeRecord(turn(stored)) + "\n" + encodeRecord(turn(stored + 1)) +
                                         "\n" + encodeRecord(turn(stored + 2)) + "\n");
  expectStored(stored + 3);
  int folds = 0;
  for (int number = stored + 3; number < stored + 20; ++number) {
    const auto mark = FileMark::of(store.storeFilePath());
    EXPECT_TRUE(store.record(turn(number)));
    folds += FileMark::of(store.storeFilePath()) != mark;
  }
  EXPECT_EQ(folds, 2);
  EXPECT_LT(journalSize(), home_.read(fileName).size() / UsageStoreFile::journalShare);
  expectStored(stored + 20);
}

TEST_F(UsageStoreJournalTest, WhatAKillLeavesIsReadAndMended) {
  store().record(turn(stored));
  const std::string whole = home_.read(fileName);
  const std::string line = home_.read(journalName);
  const std::string next = encodeRecord(turn(stored + 1)) + "\n";
  // Cut within the last line; cut before its line feed; folded in but not removed.
  for (const std::string& left : {line + next.substr(0, 40), line + next.substr(0, next.size() - 1),
                                  encodeRecord(turn(stored - 1)) + "\n" + line}) {
    home_.write(fileName, whole);
    home_.write(journalName, left);
    expectStored(stored + 1);
    EXPECT_TRUE(store().record(turn(stored + 1)));
    EXPECT_TRUE(store().record(turn(stored + 2)));
    expectStored(stored + 3);
  }
  for (const auto& message : log_.take()) EXPECT_TRUE(message.starts_with("info")) << message;
}

TEST_F(UsageStoreJournalTest, DamagedLinesAreKeptAside) {
  const std::string damaged = "{\"id\":1}\n" + encodeRecord(turn(stored)) + "\nrubbish\n";
  home_.write(journalName, damaged);
  expectStored(stored + 1);
  EXPECT_TRUE(store().record(turn(stored + 1)));
  EXPECT_EQ(home_.read(journalName + ".unreadable"), damaged);
  EXPECT_FALSE(hasJournal());
  expectStored(stored + 2);
}

TEST_F(UsageStoreJournalTest, FullDiskLosesNothingThatWasSaved) {
  auto store = this->store();
  store.record(turn(stored));
  const std::string before = home_.read(journalName);
  {
    const FileSizeLimit limit(before.size() + 100);
    EXPECT_TRUE(store.record(turn(stored + 1)));
    EXPECT_EQ(home_.read(journalName), before);
    expectStored(stored + 1);
  }
  EXPECT_TRUE(store.record(turn(stored + 2)));
  expectStored(stored + 3);
  log_.take();
  {
    // Enough for the journal, not for a new file.
    const FileSizeLimit limit(600'000);
    for (int number = stored + 3; number < stored + 23; ++number) EXPECT_TRUE(store.record(turn(number)));
    EXPECT_EQ(log_.take().size(), 3u) << "one try for each eighth";
  }
  expectStored(stored + 23);
  for (int number = stored + 23; number < stored + 40; ++number) store.record(turn(number));
  EXPECT_LT(journalSize(), home_.read(fileName).size() / UsageStoreFile::journalShare);
  expectStored(stored + 40);
}

TEST_F(UsageStoreJournalTest, ResetLeavesNothingThatComesBack) {
  auto store = this->store();
  store.record(turn(stored));
  store.reset();
  EXPECT_FALSE(hasJournal());
  EXPECT_EQ(this->store().eventCount(), 0u);
  EXPECT_TRUE(store.record(turn(0)));
  expectStored(1);
  EXPECT_FALSE(hasJournal());
}

// Whoever removes or changes the file gets what is in memory, as with a small one.
TEST_F(UsageStoreJournalTest, FilesThatAreNotAsTheyWereLeftAreWrittenWhole) {
  auto store = this->store();
  store.record(turn(stored));
  for (const std::string& name : {fileName, journalName}) {
    std::filesystem::remove(home_.path(name));
    EXPECT_TRUE(store.record(turn(static_cast<int>(store.eventCount()))));
    expectStored(static_cast<int>(store.eventCount()));
    EXPECT_TRUE(store.record(turn(static_cast<int>(store.eventCount()))));
    EXPECT_TRUE(hasJournal());
  }
}

}  // namespace
}  // namespace vigilo
