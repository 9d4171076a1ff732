#include "platform/linux/TomlUserDefaults.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <mutex>

#include "support/AsioQueue.h"
#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;
using namespace std::chrono_literals;

bool anywhere(const std::string&) {
  return true;
}

// Counts announcements; waits for one with a limit that only a fault reaches.
class Counter {
 public:
  void add() {
    const std::lock_guard guard(mutex_);
    ++count_;
    changed_.notify_all();
  }
  bool reaches(int count) {
    std::unique_lock guard(mutex_);
    return changed_.wait_for(guard, 10s, [&] { return count_ >= count; });
  }
  int count() {
    const std::lock_guard guard(mutex_);
    return count_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

class UserDefaultsFile : public ::testing::Test {
 protected:
  std::unique_ptr<TomlUserDefaults> open(WriteGate gate = anywhere) {
    return std::make_unique<TomlUserDefaults>(path, std::move(gate), *queue);
  }
  void write(const std::string& text) const { home.write(name, text); }
  // As careful programs do it: a new file in place of the old one.
  void replace(const std::string& text) const {
    home.write("new", text);
    std::filesystem::rename(home.path("new"), path);
  }
  std::string read() const { return home.read(name); }

  static constexpr const char* name = "Preferences/s.toml";
  test::MemorySink log;
  test::TempFolder home;
  const std::string path = home.path(name);
  const std::unique_ptr<AsioQueue> queue = AsioQueue::withThread("com.vigilo.settings");
};

TEST_F(UserDefaultsFile, AWriteIsInForceAtOnceAndOnDiskOnceSynchronized) {
  const auto defaults = open();
  EXPECT_FALSE(std::filesystem::exists(home.path("Preferences"))) << "reading makes nothing";
  defaults->set("a", true);
  EXPECT_EQ(defaults->object("a"), DefaultsValue(true));
  EXPECT_EQ(defaults->synchronize(), std::nullopt);
  EXPECT_EQ(read(), "a = true\n");
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  defaults->set("a", std::nullopt);
  EXPECT_EQ(defaults->object("a"), std::nullopt);
  defaults->synchronize();
  EXPECT_EQ(read(), "");
}

TEST_F(UserDefaultsFile, TwoWritersThatTakeTurnsLoseNothing) {
  write("# mine\nx = 0\n");
  const auto one = open();
  const auto other = open();
  for (int turn = 0; turn < 20; ++turn) {
    one->set("one", std::int64_t{turn});
    ASSERT_EQ(one->synchronize(), std::nullopt);
    other->set("other", std::int64_t{turn});
    ASSERT_EQ(other->synchronize(), std::nullopt);
    write(read() + "hand" + std::to_string(turn) + " = 1\n");
  }
  one->synchronize();
  EXPECT_TRUE(read().starts_with("# mine\nx = 0\none = 19\nother = 19\nhand0 = 1\n")) << read();
  for (int turn = 0; turn < 20; ++turn)
    EXPECT_EQ(one->object("hand" + std::to_string(turn)), DefaultsValue(std::int64_t{1}));
}

TEST_F(UserDefaultsFile, ALinkedFileStaysALink) {
  home.write("dotfiles/real.toml", "a = 1\n");
  std::filesystem::create_directories(home.path("Preferences"));
  std::filesystem::create_symlink("../dotfiles/real.toml", path);
  std::vector<std::string> asked;
  {
    const auto defaults = open([&](const std::string& where) {
      asked.push_back(where);
      return true;
    });
    defaults->set("a", std::int64_t{2});
  }
  EXPECT_TRUE(std::filesystem::is_symlink(path));
  EXPECT_EQ(home.read("dotfiles/real.toml"), "a = 2\n");
  EXPECT_EQ(asked, Lines{path}) << "the gate is asked for the path as it is known";
}

TEST_F(UserDefaultsFile, AFileThatIsNotInOrderIsNeverRewritten) {
  write("a = 1\n");
  const auto defaults = open();
  const std::string broken = "a = 2\nb = = 3\n";
  write(broken);
  defaults->set("c", true);
  const auto error = defaults->synchronize();
  ASSERT_TRUE(error);
  EXPECT_TRUE(error->description.starts_with(path + ": line 2, column 5: ")) << error->description;
  defaults->synchronize();
  EXPECT_EQ(read(), broken);
  EXPECT_EQ(defaults->object("a"), DefaultsValue(std::int64_t{1})) << "the last good value";
  EXPECT_EQ(defaults->object("c"), DefaultsValue(true)) << "this process's own change";
  EXPECT_EQ(log.take(), Lines{"error [settings] Settings file is not usable, going on with the settings in "
                              "memory: " +
                              error->description});
  write("a = 2\nb = 3\n");
  EXPECT_EQ(defaults->synchronize(), std::nullopt);
  EXPECT_EQ(read(), "a = 2\nb = 3\nc = true\n");
  EXPECT_EQ(defaults->object("a"), DefaultsValue(std::int64_t{2}));
  EXPECT_EQ(log.take(), Lines{"info [settings] Settings file is in order again: " + path});
}

TEST_F(UserDefaultsFile, WhatCannotBeReadIsAnErrorAndTheDefaultsHold) {
  const std::string huge(TomlUserDefaults::largestFile + 1, '#');
  for (const auto& [reason, make] : std::initializer_list<std::pair<const char*, std::function<void()>>>{
           {"File too large", [&] { write(huge); }},
           {"invalid utf-8", [&] { write("a = \"\xff\"\n"); }},
           {"not a file", [&] { std::filesystem::create_directories(path); }},
           {"not a file", [&] { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }},
           {"Too many levels", [&] { std::filesystem::create_symlink("s.toml", path); }},
       }) {
    std::filesystem::remove_all(home.path("Preferences"));
    std::filesystem::create_directories(home.path("Preferences"));
    make();
    const auto defaults = open();
    EXPECT_EQ(defaults->object("a"), std::nullopt);
    defaults->set("a", true);
    const auto error = defaults->synchronize();
    ASSERT_TRUE(error) << reason;
    EXPECT_NE(error->description.find(reason), std::string::npos) << error->description;
    EXPECT_EQ(defaults->object("a"), DefaultsValue(true));
  }
}

TEST_F(UserDefaultsFile, AKeyThatCannotBeWrittenDoesNotKeepOthersFromTheFile) {
  write("[table]\nx = 1\n");
  const auto defaults = open();
  defaults->set("table", true);
  defaults->set("value", true);
  const auto error = defaults->synchronize();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description, path + ": \"table\" is a table, where a value belongs");
  EXPECT_EQ(read(), "value = true\n[table]\nx = 1\n");
}

TEST_F(UserDefaultsFile, ARefusalOfTheGateLeavesTheChangeInMemory) {
  const auto defaults = open([](const std::string&) { return false; });
  defaults->set("a", true);
  const auto error = defaults->synchronize();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, EPERM);
  EXPECT_EQ(defaults->object("a"), DefaultsValue(true));
  EXPECT_FALSE(std::filesystem::exists(path));
}

class ObservedDefaults : public UserDefaultsFile {
 protected:
  void observe() {
    defaults = open();
    token = defaults->observe(*observer, [this] { announced.add(); });
    defaults->synchronize();  // the watch stands
  }
  // Until the queue has read whatever the kernel has to tell, and its answers have arrived.
  void settle() {
    defaults->checkForChanges();
    queue->sync([] {});
    observer->sync([] {});
  }
  std::optional<DefaultsValue> value() const { return defaults->object("a"); }

  const std::unique_ptr<AsioQueue> observer = AsioQueue::withThread("observer");
  Counter announced;
  std::unique_ptr<TomlUserDefaults> defaults;
  CancelToken token;
};

TEST_F(ObservedDefaults, AnEditFromOutsideIsAnnouncedOncePerChangeOfContent) {
  write("a = 1\n");
  observe();
  replace("a = 2\n");
  ASSERT_TRUE(announced.reaches(1));
  EXPECT_EQ(value(), DefaultsValue(std::int64_t{2}));
  replace("a = 2\n");
  replace("# only a comment\na = 2\n");
  settle();
  replace("a = 3\n");
  ASSERT_TRUE(announced.reaches(2));
  settle();
  settle();
  EXPECT_EQ(value(), DefaultsValue(std::int64_t{3}));
  EXPECT_EQ(announced.count(), 2);
}

TEST_F(ObservedDefaults, OwnWritesAreNotAnnounced) {
  write("a = 1\n");
  observe();
  for (std::int64_t i = 0; i < 10; ++i) {
    defaults->set("a", i);
    defaults->set("b", std::numeric_limits<double>::quiet_NaN());
    defaults->synchronize();
    settle();
  }
  EXPECT_EQ(announced.count(), 0);
}

TEST_F(ObservedDefaults, AFolderThatComesLaterIsWatchedOnceItIsThere) {
  observe();
  defaults->set("b", true);
  defaults->synchronize();
  replace("a = 1\n");
  ASSERT_TRUE(announced.reaches(1));
  EXPECT_EQ(value(), DefaultsValue(std::int64_t{1}));
}

TEST_F(ObservedDefaults, TheFileBehindALinkIsWatchedToo) {
  home.write("dotfiles/real.toml", "a = 1\n");
  std::filesystem::create_directories(home.path("Preferences"));
  std::filesystem::create_symlink("../dotfiles/real.toml", path);
  observe();
  home.write("new", "a = 2\n");
  std::filesystem::rename(home.path("new"), home.path("dotfiles/real.toml"));
  ASSERT_TRUE(announced.reaches(1));
  EXPECT_EQ(value(), DefaultsValue(std::int64_t{2}));
}

TEST_F(UserDefaultsFile, AFileThatIsMovedAwayForAMomentIsNotTakenForRemoved) {
  test::VirtualTime time;
  const auto virtualQueue = time.queue("settings");
  write("a = 1\n");
  TomlUserDefaults defaults(path, anywhere, *virtualQueue);
  const auto valueAfter = [&](double seconds) {
    defaults.checkForChanges();
    time.advance(seconds);
    return defaults.object("a");
  };
  std::filesystem::rename(path, home.path("Preferences/backup"));
  defaults.set("b", true);  // must not bring the file back without its other keys
  EXPECT_EQ(valueAfter(0.09), DefaultsValue(std::int64_t{1}));
  replace("a = 2\n");
  EXPECT_EQ(valueAfter(0.09), DefaultsValue(std::int64_t{2}));
  EXPECT_EQ(read(), "a = 2\nb = true\n");
  std::filesystem::remove(path);
  EXPECT_EQ(valueAfter(0.11), std::nullopt);
}

}  // namespace
}  // namespace vigilo
