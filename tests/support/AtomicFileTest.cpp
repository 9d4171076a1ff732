#include "support/AtomicFile.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

const WriteGate anywhere = [](const std::string&) { return true; };

int permissions(const std::string& path) {
  struct stat found {};
  return ::stat(path.c_str(), &found) == 0 ? static_cast<int>(found.st_mode & 07777) : -1;
}

std::size_t filesIn(const std::string& folder) {
  const std::filesystem::directory_iterator all(folder);
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST(AtomicFile, AReplacedFileKeepsItsPermissionsAndANewOneIsPrivate) {
  const test::TempFolder folder;
  const std::string path = folder.path("a/b/state.json");
  EXPECT_FALSE(replaceFile(path, "one", anywhere));
  EXPECT_EQ(permissions(path), 0600);
  EXPECT_EQ(permissions(folder.path("a/b")), 0700);
  ::chmod(path.c_str(), 0640);
  EXPECT_FALSE(replaceFile(path, "two", anywhere, {.mode = 0600, .syncToDisk = true}));
  EXPECT_EQ(permissions(path), 0640);
  EXPECT_EQ(folder.read("a/b/state.json"), "two");
  EXPECT_EQ(filesIn(folder.path("a/b")), 1u) << "a temporary file is left";
}

TEST(AtomicFile, ARefusedPathIsNotTouched) {
  const test::TempFolder folder;
  folder.write("state.json", "old");
  std::string asked;
  const auto error = replaceFile(folder.path("new/state.json"), "x", [&](const std::string& path) {
    asked = path;
    return false;
  });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, EPERM);
  EXPECT_EQ(asked, folder.path("new/state.json"));
  EXPECT_FALSE(std::filesystem::exists(folder.path("new")));
}

TEST(AtomicFile, AFailureLeavesTheOldFileAndNothingElse) {
  const test::TempFolder folder;
  folder.write("file", "old");
  std::filesystem::create_directories(folder.path("taken/below"));
  const std::pair<const char*, int> cases[] = {{"file/below", ENOTDIR}, {"taken", EISDIR}};
  for (const auto& [below, code] : cases) {
    const auto error = replaceFile(folder.path(below), "new", anywhere);
    ASSERT_TRUE(error) << below;
    EXPECT_EQ(error->code, code) << error->description;
    EXPECT_NE(error->description.find(folder.path()), std::string::npos);
  }
  EXPECT_EQ(folder.read("file"), "old");
  EXPECT_EQ(filesIn(folder.path()), 2u);
}

// Runs the check in a process of its own, so that what it does to itself ends with it.
template <class Check>
int inChild(const Check& check) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(check());
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

constexpr int cannotTry = 77;

TEST(AtomicFile, AReadOnlyFolderRefusesAndKeepsTheFile) {
  const test::TempFolder folder;
  folder.write("a/file", "old");
  ::chmod(folder.path().c_str(), 0755);
  ::chmod(folder.path("a").c_str(), 0555);
  ::chmod(folder.path("a/file").c_str(), 0444);
  const int outcome = inChild([&] {
    // The superuser may write anywhere.
    if (::geteuid() == 0 && ::setuid(65534) != 0) return cannotTry;
    const auto error = replaceFile(folder.path("a/file"), "new", anywhere);
    return error ? error->code : 0;
  });
  if (outcome == cannotTry) GTEST_SKIP() << "cannot give up root here";
  EXPECT_EQ(outcome, EACCES);
  EXPECT_EQ(folder.read("a/file"), "old");
  ::chmod(folder.path("a").c_str(), 0755);
}

TEST(AtomicFile, AFullDiskKeepsTheOldFile) {
  const test::TempFolder folder;
  const int outcome = inChild([&] {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=64k") != 0) {
      return cannotTry;
    }
    folder.write("file", "old");
    const auto error = replaceFile(folder.path("file"), std::string(1 << 20, 'x'), anywhere);
    if (folder.read("file") != "old" || filesIn(folder.path()) != 1) return 1;
    return error ? error->code : 0;
  });
  if (outcome == cannotTry) GTEST_SKIP() << "cannot mount a small disk here";
  EXPECT_EQ(outcome, ENOSPC);
}

// A writer that is killed at any moment leaves the old bytes or the new ones.
TEST(AtomicFile, AReaderNeverSeesHalfAFileEvenWhenTheWriterDies) {
  const test::TempFolder folder;
  const std::string a(10000, 'a'), b(15000, 'b');
  folder.write("file", a);
  for (int round = 0; round < 10; ++round) {
    const pid_t writer = ::fork();
    if (writer == 0) {
      for (;;) {
        (void)replaceFile(folder.path("file"), b, anywhere);
        (void)replaceFile(folder.path("file"), a, anywhere);
      }
    }
    for (int changes = 0; changes < 5;) {
      const bool wasA = folder.read("file") == a;
      const std::string now = folder.read("file");
      ASSERT_TRUE(now == a || now == b) << "size " << now.size();
      if ((now == a) != wasA) ++changes;
    }
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    const std::string left = folder.read("file");
    ASSERT_TRUE(left == a || left == b) << "size " << left.size();
  }
}

TEST(AtomicFile, ReadsWholeFilesUpToTheLimit) {
  const test::TempFolder folder;
  folder.write("file", std::string(100000, 'x'));
  EXPECT_EQ(*readFile(folder.path("file"), 100000), std::string(100000, 'x'));
  EXPECT_EQ(readFile(folder.path("file"), 99999).error().code, EFBIG);
  EXPECT_EQ(readFile(folder.path("missing")).error().code, ENOENT);
  EXPECT_EQ(readFile(folder.path()).error().code, EISDIR);
}

TEST(AtomicFile, FoldersThatAreThereKeepTheirPermissions) {
  const test::TempFolder folder;
  ::mkdir(folder.path("a").c_str(), 0755);
  ::chmod(folder.path("a").c_str(), 0755);
  EXPECT_FALSE(makeFolders(folder.path("a/b/c"), 0700));
  EXPECT_EQ(permissions(folder.path("a")), 0755);
  EXPECT_EQ(permissions(folder.path("a/b/c")), 0700);
  folder.write("file", "");
  EXPECT_EQ(makeFolders(folder.path("file"), 0700)->code, ENOTDIR);
  EXPECT_EQ(makeFolders(folder.path("file/x"), 0700)->code, ENOTDIR);
}

}  // namespace
}  // namespace vigilo
