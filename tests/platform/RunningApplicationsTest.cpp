#include <gtest/gtest.h>

#include "platform/linux/ApplicationScope.h"
#include "platform/linux/ProcRunningApplications.h"
#include "tests/platform/ProcFixture.h"

namespace vigilo {
namespace {

using namespace std::string_literals;

TEST(ApplicationScope, TellsTheApplicationOfAUnit) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"app-gnome-cursor-12345.scope", "cursor"},
      {"app-flatpak-com.example.Editor-777.scope", "com.example.Editor"},
      {"app-cursor-12345.scope", "cursor"},
      {"app-gnome-my\\x2deditor-12345.scope", "my-editor"},
      {"app-gnome-cursor@autostart.service", "cursor"},
      {"app-org.example.Files@2f.service", "org.example.Files"},
      {"app-org.example.Files.service", "org.example.Files"},
      {"snap.cursor.cursor-2d7c.scope", "cursor"},
      {"session-1.scope", std::nullopt},
      {"app-12345.scope", std::nullopt},
      {"app-a-b-c-12345.scope", std::nullopt},
      {"app-gnome-\\xzz-1.scope", std::nullopt},
      {"app-gnome-\\x2-1.scope", std::nullopt},
      {"app-.service", std::nullopt},
      {"snap.cursor.scope", std::nullopt},
      {"", std::nullopt}};
  for (const auto& [unit, application] : cases) EXPECT_EQ(applicationOfScope(unit), application) << unit;
  EXPECT_EQ(unitOfProcess("3:cpu:/x\n1:name=systemd:/user.slice/a.scope\n0::/\n"), "a.scope");
  EXPECT_EQ(unitOfProcess("0::/"), "");
}

class RunningApplicationsTest : public testing::Test {
 protected:
  using Found = std::vector<RunningApplication>;

  Found list() { return applications.list(); }
  void entry(const std::string& id, const std::string& exec, const std::string& name = "My Editor") {
    files.write("applications/" + id + ".desktop", "[Desktop Entry]\nType=Application\nName=" + name +
                                                       "\nName[de]=Anders\nExec=" + exec +
                                                       "\n\n[Desktop Action new]\nName=New\nExec=/nowhere\n");
  }
  std::string program(const std::string& name) {
    files.write("bin/" + name, "");
    std::filesystem::permissions(files.path("bin/" + name), std::filesystem::perms::owner_all);
    return files.path("bin/" + name);
  }

  test::TempFolder files;
  test::ProcFixture proc;
  ProcRunningApplications applications{
      proc.path(), DesktopEntries({files.path("applications"), "/nonexistent"}, files.path("bin"))};
};

TEST_F(RunningApplicationsTest, OnlyTheMainProcessOfAnApplicationCounts) {
  const std::string editor = "/opt/cursor/cursor";
  proc.add(50, {.arguments = "bash\0"s, .executable = "/usr/bin/bash"});
  proc.add(100, {.arguments = "cursor\0.\0"s, .executable = editor + " (deleted)", .parent = 50});
  proc.add(101, {.arguments = "cursor\0--type=zygote\0"s, .executable = editor, .parent = 100});
  proc.add(102, {.arguments = "cursor\0--type=renderer\0"s, .executable = editor, .parent = 1});
  proc.add(103, {.arguments = "cursor --type=gpu-process"s, .executable = editor, .parent = 1});
  proc.add(104, {.arguments = "cursor\0server.js\0"s, .executable = editor, .parent = 100});
  proc.add(105, {.arguments = "xcursorgen\0"s, .executable = "/usr/bin/xcursorgen", .parent = 50});
  proc.add(106, {.arguments = "cursor\0"s, .parent = 50});  // another user's
  EXPECT_EQ(list(), (Found{{100, "Cursor", "cursor"}}));
}

TEST_F(RunningApplicationsTest, DesktopEntriesNameWhatTheyStartAndScopesTheRest) {
  entry("org.example.Editor", "env GDK_BACKEND=x11 \"my editor\" --new %F");
  entry("org.example.Script", "python3 /opt/script.py", "Cursor Themes");
  entry("org.example.Terminal", "terminal", "Terminal");
  files.write("applications/broken.desktop", "[Desktop Entry]\nName=Broken\nExec=\xFF\"\\");
  const std::string editor = program("my editor");
  const std::string python = program("python3");
  const std::string scope = "0::/user.slice/app.slice/app-gnome-org.example.Terminal-9.scope\n";
  proc.add(100, {.arguments = "my editor\0"s, .executable = editor});
  proc.add(101, {.arguments = "python3\0x.py\0"s, .executable = python});
  proc.add(102, {.arguments = "t\0"s, .executable = "/opt/t", .cgroup = scope});
  proc.add(103, {.arguments = "bash\0"s, .executable = "/usr/bin/bash", .parent = 102, .cgroup = scope});
  EXPECT_EQ(list(),
            (Found{{100, "My Editor", "org.example.Editor"}, {102, "Terminal", "org.example.Terminal"}}));

  // What is installed later is known from then on.
  entry("later", "/usr/bin/later", "Later");
  std::filesystem::last_write_time(files.path("applications"), std::filesystem::file_time_type::clock::now());
  proc.remove(102);
  EXPECT_EQ(list().size(), 2u) << "what the terminal leaves behind is the outermost of its scope now";
  EXPECT_EQ(list().front().localizedName, "My Editor");
}

TEST_F(RunningApplicationsTest, AProcessThatBecomesAnEditorIsFoundWithinTwoListings) {
  proc.add(100, {.arguments = "sh\0launcher\0"s, .executable = "/usr/bin/dash"});
  for (int i = 0; i < 20; ++i) EXPECT_EQ(list(), Found{});
  proc.add(100, {.arguments = "windsurf\0"s, .executable = "/tmp/.mount_Wx1/windsurf"});
  list();
  EXPECT_EQ(list(), (Found{{100, "Windsurf", "windsurf"}}));
  proc.remove(100);
  EXPECT_EQ(list(), Found{});
}

}  // namespace
}  // namespace vigilo
