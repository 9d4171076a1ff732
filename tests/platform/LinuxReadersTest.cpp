#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "platform/linux/JournalSink.h"
#include "platform/linux/LinuxSystemReport.h"
#include "platform/linux/LogindLidState.h"
#include "platform/linux/SystemdHelperUnit.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

TEST(LogindLidState, AsksTheAcpiButtonWhereThereIsNoLogind) {
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  const test::TempFolder proc;
  LogindLidState lid(proc.path());
  EXPECT_EQ(lid.isClamshellClosed(), std::nullopt);
  EXPECT_TRUE(lid.description().starts_with("none (")) << lid.description();
  proc.write("acpi/button/lid/LID0/state", "state:      closed\n");
  EXPECT_EQ(lid.isClamshellClosed(), true);
  proc.write("acpi/button/lid/LID0/state", "state:      open\n");
  EXPECT_EQ(lid.isClamshellClosed(), false);
  EXPECT_EQ(lid.description(), "ACPI lid button");
}

TEST(JournalSink, WritesToStandardErrorWhereThereIsNoJournal) {
  JournalSink sink("vigilo", "/nonexistent/socket");
  EXPECT_FALSE(sink.accepts(LogLevel::debug));
  ::testing::internal::CaptureStderr();
  sink.write(LogLevel::error, "com.vigilo.app", "power", "it failed");
  const auto line = ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(line.ends_with(" error [power] it failed\n")) << line;
}

TEST(LinuxSystemReport, NamesTheDistributionAndTheKernel) {
  const std::pair<const char*, const char*> rows[] = {
      {"NAME=x\nPRETTY_NAME=\"Debian \\\"12\\\"\"\n", "Debian \"12\", Linux "},
      {"PRETTY_NAME=Arch\n", "Arch, Linux "},
      {"NAME=x\n", "Linux "}};
  for (const auto& [file, beginning] : rows) {
    const test::TempFolder root;
    root.write("etc/os-release", file);
    const std::string version = LinuxSystemReport(root.path()).osVersion();
    EXPECT_TRUE(version.starts_with(beginning)) << version;
  }
}

TEST(LinuxSystemReport, TakesTheToolsWordWhereThereIsOne) {
  const test::TempFolder folder;
  const std::pair<const char*, const char*> rows[] = {
      {"#!/bin/sh\necho \"$@: PreventUserIdleSystemSleep 1\"\n",
       "-g assertions: PreventUserIdleSystemSleep 1\n"},
      {"#!/bin/sh\nprintf 'x\\377'\n", ""},
      {"#!/nonexistent/interpreter\n", ""}};
  for (const auto& [script, text] : rows) {
    folder.write("pmset", script);
    std::filesystem::permissions(folder.path("pmset"), std::filesystem::perms::owner_all);
    EXPECT_EQ(LinuxSystemReport("", folder.path("pmset")).assertionsSummary(), text) << script;
  }
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  EXPECT_EQ(LinuxSystemReport("", "/nonexistent/pmset").assertionsSummary(), "");
}

TEST(SystemdHelperUnit, FindsTheUnitThatCountsAndItsProgram) {
  const test::TempFolder root;
  const std::string own = root.path("usr/bin/vigilo");
  EXPECT_FALSE(findHelperUnit(root.path(), own).program);
  root.write("usr/libexec/vigilo/VigiloHelper", "");
  std::filesystem::permissions(root.path("usr/libexec/vigilo/VigiloHelper"),
                               std::filesystem::perms::owner_all);
  EXPECT_EQ(findHelperUnit(root.path(), own).program, root.path("usr/libexec/vigilo/VigiloHelper"));
  const char* unit = "vigilo-helper.service";
  root.write(std::string("usr/lib/systemd/system/") + unit, "[Service]\nExecStart=-/opt/Helper --x\n");
  const auto packaged = findHelperUnit(root.path(), own);
  EXPECT_EQ(packaged.program, "/opt/Helper");
  EXPECT_FALSE(packaged.isUnitEnabled);
  root.write(std::string("etc/systemd/system/") + unit, "[Service]\n");
  root.write(std::string("etc/systemd/system/multi-user.target.wants/") + unit, "");
  const auto administrators = findHelperUnit(root.path(), own);
  EXPECT_EQ(administrators.unitFile, root.path(std::string("etc/systemd/system/") + unit));
  EXPECT_TRUE(administrators.isUnitEnabled);
}

}  // namespace
}  // namespace vigilo
