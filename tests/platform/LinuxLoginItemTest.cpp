#include "platform/linux/LinuxLoginItem.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

namespace fs = std::filesystem;

constexpr const char* entryFile = "config/autostart/vigilo.desktop";
constexpr const char* globalFile = "xdg/autostart/vigilo.desktop";
constexpr const char* ownLink = "config/systemd/user/default.target.wants/vigilo.service";
constexpr const char* globalLink = "etc/default.target.wants/vigilo.service";

class LinuxLoginItemTest : public testing::Test {
 protected:
  LinuxLoginItemTest() {
    addProgram("bin/vigilo");
    folder.write("units/vigilo.service", "[Service]\n");
  }

  void addProgram(const std::string& name) {
    folder.write(name, "");
    fs::permissions(folder.path(name), fs::perms::owner_all);
  }
  void link(const std::string& name, const std::string& target) {
    fs::create_directories(fs::path(folder.path(name)).parent_path());
    fs::create_symlink(target, folder.path(name));
  }
  void enableUnit(const std::string& name) { link(name, folder.path("units/vigilo.service")); }
  void removeConfig() { fs::remove_all(folder.path("config")); }
  bool exists(const std::string& name) { return fs::exists(fs::symlink_status(folder.path(name))); }

  const test::TempFolder folder;
  LinuxLoginItem item{{folder.path("config"),
                       {folder.path("xdg")},
                       folder.path("etc"),
                       {folder.path("bin")},
                       folder.path("bin/vigilo")}};
};

using enum LoginItemStatus;

TEST_F(LinuxLoginItemTest, AnEntryReadsAsTheDesktopTakesIt) {
  const std::string ours = AutostartEntry::starting(folder.path("bin/vigilo"));
  const std::pair<std::string, LoginItemStatus> rows[] = {
      {ours, enabled},
      {ours + "Hidden=true\n", requiresApproval},
      {ours + "X-GNOME-Autostart-enabled = false\n", requiresApproval},
      {ours + "# Hidden=true\n[Desktop Action off]\nHidden=true\n", enabled},
      {AutostartEntry::starting("/nowhere/vigilo"), notFound},
      {"[Desktop Entry]\nTryExec=/nowhere\nExec=vigilo run\n", notFound},
      {"[Desktop Entry]\nExec=vigilo run --verbose %U\n", enabled},
      {"[Desktop Entry]\nExec=vigilo top\n", notRegistered},
      {"[Desktop Entry]\nExec=/opt/other/vigilant run\n", notRegistered},
      {"Exec=vigilo run\n", notRegistered},
      {std::string("\0\xff[", 3), notRegistered},
      {"", notRegistered}};
  for (const auto& [text, status] : rows) {
    folder.write(entryFile, text);
    EXPECT_EQ(item.state().status, status) << text;
  }
  removeConfig();
  EXPECT_EQ(item.state().status, notRegistered);
}

TEST_F(LinuxLoginItemTest, AnyPathSurvivesTheWayThroughTheEntry) {
  for (const char* name : {"plain/vigilo", "with space/vigilo", "100%U $HOME `x` \"q\" \\s\tz/vigilo"}) {
    const std::string program = folder.path(name);
    const auto entry = AutostartEntry::parse(AutostartEntry::starting(program));
    EXPECT_EQ(entry.command, (std::vector<std::string>{program, "run"}));
    EXPECT_EQ(entry.tryExec, program);
  }
}

TEST_F(LinuxLoginItemTest, WhateverIsOursIsSwitchedOnAndOff) {
  for (const std::string& before : {std::string(), AutostartEntry::starting("/nowhere/vigilo"),
                                    AutostartEntry::starting(folder.path("bin/vigilo")) + "Hidden=true\n"}) {
    if (!before.empty()) folder.write(entryFile, before);
    EXPECT_FALSE(item.registerItem());
    EXPECT_EQ(item.state().status, enabled);
    EXPECT_EQ(folder.read(entryFile), AutostartEntry::starting(folder.path("bin/vigilo")));
    EXPECT_FALSE(item.unregisterItem());
    EXPECT_EQ(item.state().status, notRegistered);
    EXPECT_TRUE(fs::is_empty(folder.path("config/autostart")));
  }
}

TEST_F(LinuxLoginItemTest, SomebodyElsesEntryIsLeftAloneAndNamed) {
  const std::string theirs = "[Desktop Entry]\nExec=/opt/other/vigilo --tray\n";
  folder.write(entryFile, theirs);
  const auto error = item.registerItem();
  ASSERT_TRUE(error);
  EXPECT_NE(error->description.find(folder.path(entryFile)), std::string::npos);
  EXPECT_FALSE(item.unregisterItem());
  EXPECT_EQ(folder.read(entryFile), theirs);
  EXPECT_TRUE(item.state().remark);
}

TEST_F(LinuxLoginItemTest, AnEntryForAllUsersIsHiddenNotRemoved) {
  folder.write(globalFile, AutostartEntry::starting(folder.path("bin/vigilo")));
  EXPECT_EQ(item.state().status, enabled);
  EXPECT_FALSE(item.unregisterItem());
  EXPECT_EQ(item.state().status, notRegistered);
  EXPECT_TRUE(exists(globalFile));
  EXPECT_FALSE(item.unregisterItem());
  EXPECT_EQ(item.state().status, notRegistered) << "what hides it stays";
  EXPECT_FALSE(item.registerItem());
  EXPECT_EQ(item.state().status, enabled);
  // One whose program is gone comes to life with it.
  removeConfig();
  folder.write(globalFile, AutostartEntry::starting(folder.path("later/vigilo")));
  EXPECT_EQ(item.state().status, notFound);
  EXPECT_FALSE(item.unregisterItem());
  fs::create_directory(folder.path("later"));
  addProgram("later/vigilo");
  EXPECT_EQ(item.state().status, notRegistered);
}

TEST_F(LinuxLoginItemTest, AnEnabledUnitCountsAndStaysTheOnlyOne) {
  for (const char* name : {ownLink, globalLink}) {
    enableUnit(name);
    EXPECT_EQ(item.state().status, enabled);
    EXPECT_FALSE(item.registerItem());
    EXPECT_FALSE(exists(entryFile)) << "not a second way";
    folder.write(entryFile, AutostartEntry::starting(folder.path("bin/vigilo")));
    EXPECT_TRUE(item.state().isDoubled);
    EXPECT_FALSE(item.registerItem());
    EXPECT_FALSE(item.state().isDoubled);
    EXPECT_FALSE(exists(entryFile));
    fs::remove(folder.path(name));
    EXPECT_EQ(item.state().status, notRegistered);
  }
}

TEST_F(LinuxLoginItemTest, SwitchingOffTakesTheUsersLinksAndSaysWhoseTheOthersAre) {
  enableUnit(ownLink);
  folder.write(entryFile, AutostartEntry::starting(folder.path("bin/vigilo")));
  EXPECT_FALSE(item.unregisterItem());
  EXPECT_EQ(item.state().status, notRegistered);
  EXPECT_TRUE(exists("units/vigilo.service"));
  enableUnit(ownLink);
  enableUnit(globalLink);
  const auto error = item.unregisterItem();
  ASSERT_TRUE(error);
  EXPECT_NE(error->description.find("administrator"), std::string::npos);
  EXPECT_FALSE(exists(ownLink));
  EXPECT_EQ(item.state().status, enabled);
  link("config/systemd/user/vigilo.service", "/dev/null");
  EXPECT_EQ(item.state().status, notRegistered) << "masked, as the message says";
  EXPECT_FALSE(item.unregisterItem());
}

TEST_F(LinuxLoginItemTest, ALinkThatItsPackageLeftBehindEnablesNothing) {
  link(ownLink, "/nowhere/vigilo.service");
  EXPECT_EQ(item.state().status, notRegistered);
  EXPECT_TRUE(item.state().hasRemains) << "for it does, once the package is back";
  EXPECT_FALSE(item.registerItem());
  EXPECT_FALSE(exists(ownLink)) << "or both would be on once the package is back";
  EXPECT_EQ(item.state().status, enabled);
}

TEST_F(LinuxLoginItemTest, AFolderThatCannotBeWrittenIsAnErrorWithItsPath) {
  folder.write("config/autostart", "a file, not a folder");
  const auto error = item.registerItem();
  ASSERT_TRUE(error);
  EXPECT_NE(error->description.find(folder.path("config/autostart")), std::string::npos);
}

}  // namespace
}  // namespace vigilo
