#include "helper/VigiloWritePolicy.h"

#include <gtest/gtest.h>

#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;
const std::string blocked = "error [security] Blocked write attempt to prohibited path: ";
const std::string disallowed = "error [security] Disallowed write to non-whitelisted path: ";

Directories atHome(const std::string& home, const std::string& temporary) {
  Directories directories = Directories::below(home);
  directories.temporary = temporary;
  return directories;
}

struct WriteCase {
  std::string path;
  std::string logPrefix;  // empty: allowed
  std::string logPath;    // where it differs from the path
};

TEST(VigiloWritePolicy, FoldersOfAgentsElsewhereAreTheAgentsToo) {
  Directories directories = atHome("/home/u", "/scratch");
  EXPECT_TRUE(VigiloWritePolicy::mayExport("/srv/claude/report.json", directories));
  EXPECT_FALSE(VigiloWritePolicy::mayExport("/home/u/.local/share/opencode/report.json", directories));
  directories.agentFolders.claude = {"/srv/claude"};
  EXPECT_FALSE(VigiloWritePolicy::mayExport("/srv/claude/report.json", directories));
  EXPECT_TRUE(VigiloWritePolicy::mayExport("/srv/claude.json", directories));
  EXPECT_TRUE(VigiloWritePolicy::mayWrite("/scratch/x", directories));
}

TEST(VigiloWritePolicy, OnlyOwnPlacesMayBeWrittenAndTheAgentsOwnNever) {
  const std::vector<WriteCase> cases = {
      {"/home/u/Library/Application Support/Vigilo/usage_store.json", "", ""},
      {"/home/u/Library/Logs/Vigilo/a.log", "", ""},
      {"/home/u/Library/Preferences/com.vigilo.app.toml", "", ""},
      {"/home/u/Library/Preferences/com.other.app.toml", disallowed, ""},
      {"/tmp/vigilo/x", "", ""},
      {"/tmp/vigilo-neighbour", "", ""},
      {"/tmp/other", disallowed, ""},
      {"/var/run/vigilo-helper.sock", "", ""},
      {"/var/run/other.sock", disallowed, ""},
      {"/scratch/t/file", "", ""},
      {"/home/u/.claude", blocked, ""},
      {"/home/u/.claude/settings.json", blocked, ""},
      {"/home/u/.claude.json", blocked, ""},
      {"/home/u/.claudex/settings.json", disallowed, ""},
      {"/home/u/.codex/config.toml", blocked, ""},
      {"/home/u/.gemini/settings.json", blocked, ""},
      {"/home/u/.config/opencode/x", blocked, ""},
      {"/home/u/.config/other", disallowed, ""},
      {"/home/u/.cursor/x", blocked, ""},
      {"/home/u/.windsurf/x", blocked, ""},
      {"/home/u/.antigravity/x", blocked, ""},
      {"/home/u/.zshrc", blocked, ""},
      {"/home/u/.bashrc", blocked, ""},
      {"/home/u/.bash_profile", blocked, ""},
      {"/home/u/.profile", blocked, ""},
      {"/home/u/.gitconfig", blocked, ""},
      {"/etc/passwd", blocked, ""},
      {"/usr/bin/pmset", blocked, ""},
      {"/bin/sh", blocked, ""},
      {"/sbin/init", blocked, ""},
      {"//etc//./passwd/", blocked, "/etc/passwd"},
      {"/home/u/Library/Application Support/Vigilo/../../../.ssh/id", blocked, "/home/u/.ssh/id"},
      {std::string("/home/u/.bashrc\0.vigilo", 23), blocked, "/home/u/.bashrc"},
  };
  const Directories directories = atHome("/home/u", "/scratch/t");
  for (const auto& [path, logPrefix, logPath] : cases) {
    test::MemorySink log;
    const bool allowed = logPrefix.empty();
    EXPECT_EQ(VigiloWritePolicy::mayWrite(path, directories), allowed) << path;
    const Lines expected = allowed ? Lines{} : Lines{logPrefix + (logPath.empty() ? path : logPath)};
    EXPECT_EQ(log.take(), expected);
    // An export goes anywhere but into the prohibited places.
    EXPECT_EQ(VigiloWritePolicy::mayExport(path, directories), logPrefix != blocked) << path;
  }
}

// A home folder that is written otherwise once switched the policy off, or refused everything.
TEST(VigiloWritePolicy, HoweverTheHomeFolderIsWrittenTheSamePlacesAreProtected) {
  const std::pair<const char*, std::string> homes[] = {{"/home/u/", "/home/u"},
                                                       {"/home//u", "/home/u"},
                                                       {"/home/./u", "/home/u"},
                                                       {"/home/x/../u/.", "/home/u"},
                                                       {"/", ""},
                                                       {"//", ""}};
  for (const auto& [written, home] : homes) {
    const Directories directories = atHome(written, "/scratch/t");
    for (const char* place : {"/.claude/settings.json", "/.ssh", "/.bashrc"}) {
      EXPECT_FALSE(VigiloWritePolicy::mayExport(home + place, directories)) << written << place;
    }
    EXPECT_TRUE(VigiloWritePolicy::mayExport(home + "/report.json", directories)) << written;
    for (const std::string& own :
         {directories.vigilo() + "/usage_store.json", directories.library + "/Logs/Vigilo/a",
          directories.preferences + "/com.vigilo.app.toml"}) {
      EXPECT_TRUE(own.starts_with(home + "/Library")) << own;
      EXPECT_TRUE(VigiloWritePolicy::mayWrite(own, directories)) << own;
    }
  }
}

TEST(VigiloWritePolicy, ARelativePathInAFolderThatIsGoneIsRefused) {
  const auto before = std::filesystem::current_path();
  {
    const test::TempFolder folder;
    std::filesystem::current_path(folder.path());
  }
  EXPECT_FALSE(VigiloWritePolicy::mayExport("../home/u/.claude/x", atHome("/tmp/home/u", "/tmp")));
  std::filesystem::current_path(before);
}

TEST(VigiloWritePolicy, APathThatIsBothOwnedAndProhibitedIsRefused) {
  const Directories directories = atHome("/tmp/x/home", "/tmp/x");
  EXPECT_TRUE(VigiloWritePolicy::mayWrite("/tmp/x/home/file", directories));
  EXPECT_FALSE(VigiloWritePolicy::mayWrite("/tmp/x/home/.ssh/id", directories));
  EXPECT_FALSE(VigiloWritePolicy::mayWrite("/tmp/x/home/.ssh/id", atHome("/tmp/x/y/../home/", "/tmp/x")));
}

TEST(VigiloWritePolicy, ARefusalIsAnErrorThatNamesPathAndReason) {
  const Directories directories = atHome("/home/u", "/tmp");
  EXPECT_EQ(VigiloWritePolicy::assertCanWrite("/var/run/vigilo-helper.sock", directories), std::nullopt);
  const std::string reason =
      "Path is outside Vigilo-owned directories. Third-party configuration modification is prohibited.";
  const auto error = VigiloWritePolicy::assertCanWrite("/srv/x", directories);
  ASSERT_TRUE(error);
  EXPECT_EQ(*error, VigiloWriteSecurityError::writeDisallowed("/srv/x", reason));
  EXPECT_EQ(VigiloWriteSecurityError::writeDisallowed("/x", "r").localizedDescription(),
            "Vigilo write security violation: Cannot write to '/x'. Reason: r");
}

TEST(VigiloWritePolicy, AsAGateItKeepsAWriterFromThePlace) {
  const test::TempFolder folder;
  const Directories directories = atHome(folder.path("home"), folder.path());
  const std::string settings = folder.path("home/.claude/settings.json");
  for (const auto& gate :
       {VigiloWritePolicy::gate(directories), VigiloWritePolicy::exportGate(directories)}) {
    const auto error = replaceFile(settings, "{}", gate);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, EPERM);
    EXPECT_FALSE(std::filesystem::exists(folder.path("home")));
    EXPECT_FALSE(replaceFile(folder.path("own.json"), "{}", gate));
  }
}

}  // namespace
}  // namespace vigilo
