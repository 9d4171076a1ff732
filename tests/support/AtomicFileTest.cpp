#include "support/AtomicFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <set>

#include "support/PrivateFolder.h"
#include "support/RegularFile.h"
#include "support/UnixSocket.h"
#include "tests/support/MemorySink.h"
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

// A limit on the size of files fails a write in the middle, as a full disk does.
TEST(AtomicFile, AFullDiskKeepsTheOldFile) {
  const test::TempFolder folder;
  folder.write("file", "old");
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit unlimited{};
  ::getrlimit(RLIMIT_FSIZE, &unlimited);
  const rlimit full{1 << 16, unlimited.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &full);
  const auto error = replaceFile(folder.path("file"), std::string(1 << 20, 'x'), anywhere);
  ::setrlimit(RLIMIT_FSIZE, &unlimited);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, EFBIG);
  EXPECT_EQ(folder.read("file"), "old");
  EXPECT_EQ(filesIn(folder.path()), 1u);
}

TEST(AtomicFile, OnlyTemporariesOfTheFileItselfAreCleanedUp) {
  const test::TempFolder folder;
  const std::set<std::string> kept{"f.json",         "f.json.backup",          "f.json.unreadable",
                                   "f.json.writing", "f.json.writing-aB3dEfG", "g.json.writing-aB3dEf"};
  for (const auto& name : kept) folder.write(name, "x");
  folder.write("f.json.writing-aB3dEf", "x");
  removeLeftTemporaries(folder.path("f.json"), anywhere);
  std::set<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    left.insert(entry.path().filename());
  }
  EXPECT_EQ(left, kept);
}

TEST(AtomicFile, ReadsWholeFilesUpToTheLimit) {
  const test::TempFolder folder;
  folder.write("file", std::string(100000, 'x'));
  EXPECT_EQ(*readFile(folder.path("file"), 100000), std::string(100000, 'x'));
  EXPECT_EQ(readFile(folder.path("file"), 99999).error().code, EFBIG);
  EXPECT_EQ(readFile(folder.path("missing")).error().code, ENOENT);
  EXPECT_EQ(readFile(folder.path()).error().code, EISDIR);
}

// A FIFO in the place of a state file once stopped the program that opened it.
TEST(AtomicFile, WhatIsNoRegularFileIsAnErrorAndNothingWaitsForIt) {
  const test::TempFolder folder;
  ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
  const auto address = unixSocketAddress(folder.path("socket"));
  const UniqueFd socket = makeUnixSocket();
  ASSERT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address), 0);
  std::filesystem::create_symlink("/dev/zero", folder.path("device"));
  for (const char* name : {"fifo", "socket", "device"}) {
    const std::string path = folder.path(name);
    const std::string expected = path + ": not a regular file";
    EXPECT_EQ(readFile(path).error().description, expected);
    EXPECT_EQ(openFile(path, O_RDWR | O_CREAT).error().description, expected);
    EXPECT_EQ(syncFile(path)->description, expected);
  }
  const std::string_view piece = "x";
  EXPECT_EQ(appendToFile(folder.path("fifo"), std::span(&piece, 1), anywhere)->code, EINVAL);
  EXPECT_FALSE(replaceFile(folder.path("fifo"), "new", anywhere)) << "it is replaced like any other file";
  EXPECT_EQ(folder.read("fifo"), "new");
}

TEST(AtomicFile, AFolderInWhichOthersMayWriteIsMendedOrRefused) {
  test::MemorySink log;
  const test::TempFolder folder;
  const std::string run = folder.path("a/run");
  EXPECT_FALSE(makePrivateFolder(run));
  EXPECT_EQ(permissions(run), 0700);
  ::chmod(run.c_str(), 01777);
  EXPECT_FALSE(makePrivateFolder(run));
  EXPECT_EQ(permissions(run), 01755);
  EXPECT_EQ(log.take(),
            std::vector{"error [security] Other users could write in " + run + ": they cannot any more"});
  EXPECT_FALSE(makePrivateFolder(run));
  EXPECT_TRUE(log.take().empty());
  const std::string foreign = ::geteuid() == 0 ? folder.path("foreign") : "/tmp";
  if (::geteuid() == 0) {
    ::mkdir(foreign.c_str(), 0755);
    ASSERT_EQ(::chown(foreign.c_str(), 1, 1), 0);
  }
  EXPECT_EQ(makePrivateFolder(foreign)->description, foreign + ": the folder belongs to another user");
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
