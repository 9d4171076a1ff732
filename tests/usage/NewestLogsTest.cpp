#include "usage/NewestLogs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <random>

#include "tests/support/TempFolder.h"

namespace vigilo::test {
namespace {

namespace fs = std::filesystem;

class NewestLogsTest : public ::testing::Test {
 protected:
  void append(const std::string& below) {
    fs::create_directories(fs::path(home.path(below)).parent_path());
    std::ofstream(home.path(below), std::ios::app) << "{}\n";
  }
  // Whatever is looked at, the answer is that of going through everything.
  void expectTheSame(const std::string& after) {
    const auto expected = newestLogFiles(home.path("logs"), 5);
    const auto& found = logs.look();
    ASSERT_EQ(found.size(), expected.size()) << after;
    for (std::size_t i = 0; i < found.size(); ++i) {
      ASSERT_EQ(found[i].path, expected[i].path) << after;
      ASSERT_EQ(found[i].mark, expected[i].mark) << after;
    }
  }

  TempFolder home;
  NewestLogs logs{{home.path("logs")}, 5};
};

TEST_F(NewestLogsTest, WhateverHappensTheNewestAreFound) {
  std::minstd_rand random(20261122);
  const auto anyOf = [&](unsigned count) { return std::to_string(random() % count); };
  for (int step = 0; step < 1500; ++step) {
    const std::string folder = "logs/" + anyOf(4) + (random() % 2 == 0 ? "/deep/" + anyOf(3) : "");
    const std::string file = folder + "/" + anyOf(6) + ".jsonl";
    std::error_code ignored;
    const auto action = random() % 40;
    if (action < 20) {
      append(file);
    } else if (action < 22) {
      append(folder + "/other.json");
    } else if (action < 25) {
      fs::remove(home.path(file), ignored);
    } else if (action < 28) {
      fs::rename(home.path(file), home.path("logs/" + anyOf(4) + "/renamed.jsonl"), ignored);
    } else if (action < 31) {
      const timespec times[2] = {{1795262400 + static_cast<long>(random() % 9), 0},
                                 {1795262400 + static_cast<long>(random() % 9), 0}};
      ::utimensat(AT_FDCWD, home.path(file).c_str(), times, 0);
    } else if (action < 33) {
      fs::remove_all(home.path(folder), ignored);
    } else if (action < 35) {
      fs::rename(home.path(folder), home.path("logs/moved" + anyOf(2)), ignored);
    } else if (action == 35) {
      fs::rename(home.path("logs"), home.path("away" + std::to_string(step)), ignored);
    } else if (action == 36) {
      fs::remove_all(home.path("logs"), ignored);
    }
    if (random() % 3 != 0) {
      expectTheSame("step " + std::to_string(step) + ", action " + std::to_string(action) + " " + file);
      if (HasFatalFailure()) return;
    }
  }
}

TEST_F(NewestLogsTest, AFloodOfWritesHidesNothing) {
  append("logs/a.jsonl");
  append("logs/b.jsonl");
  expectTheSame("the first look");
  for (int i = 0; i < 20000; ++i) append(i % 2 == 0 ? "logs/a.jsonl" : "logs/b.jsonl");
  append("logs/c.jsonl");
  expectTheSame("the flood");
}

TEST_F(NewestLogsTest, SeveralFoldersAreOneAlsoWhereOneComesLater) {
  NewestLogs both{{home.path("one"), home.path("two")}, 2};
  const auto write = [this](const std::string& below, long second) {
    append(below);
    const timespec times[2] = {{second, 0}, {second, 0}};
    ::utimensat(AT_FDCWD, home.path(below).c_str(), times, 0);
  };
  write("two/a.jsonl", 1);
  EXPECT_EQ(both.look().size(), 1u);
  write("one/b.jsonl", 2);
  ASSERT_EQ(both.look().size(), 2u);
  EXPECT_EQ(both.look().back().path, home.path("one/b.jsonl"));
  write("two/c.jsonl", 3);
  EXPECT_EQ(both.look().front().path, home.path("one/b.jsonl"));
  EXPECT_EQ(both.look().back().path, home.path("two/c.jsonl"));
}

// What a link leads to lies elsewhere, and changes there.
TEST_F(NewestLogsTest, ALinkIsFollowed) {
  append("elsewhere.jsonl");
  for (const char* name : {"a", "b", "c", "d", "e"}) append("logs/" + std::string(name) + ".jsonl");
  expectTheSame("the first look");
  fs::create_symlink(home.path("elsewhere.jsonl"), home.path("logs/link.jsonl"));
  expectTheSame("a new link");
  for (int i = 0; i < 3; ++i) {
    append("elsewhere.jsonl");
    expectTheSame("a write elsewhere");
  }
}

TEST_F(NewestLogsTest, NothingNewAmongTenThousandCostsNoLookAtEach) {
  for (int i = 0; i < 10000; ++i)
    append("logs/" + std::to_string(i / 100) + "/" + std::to_string(i) + ".jsonl");
  logs.look();
  timespec before{};
  timespec after{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
  for (int i = 0; i < 100; ++i) logs.look();
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
  const double milliseconds = static_cast<double>(after.tv_sec - before.tv_sec) * 1e3 +
                              static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e6;
  EXPECT_LT(milliseconds / 100, 3);
}

}  // namespace
}  // namespace vigilo::test
