#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/linux/JournalSink.h"
#include "platform/linux/LogindLidState.h"
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

}  // namespace
}  // namespace vigilo
