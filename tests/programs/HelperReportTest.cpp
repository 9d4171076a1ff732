#include "VigiloApp/commands/HelperReport.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace vigilo {
namespace {

HelperReport running(bool asRoot, bool active, bool inForce) {
  return {.isInstalled = true,
          .isRunning = true,
          .socket = "/run/helper.sock",
          .isSystemHelper = asRoot,
          .status = DeepSleepStatus{
              .isHelperInstalled = true, .isDeepHoldActive = active, .currentSystemSleepDisabled = inForce}};
}

HelperReport besideHost(HelperReport report) {
  report.isBesideHost = true;
  return report;
}

TEST(HelperReport, SaysHowItIsAndWhatToDo) {
  struct Row {
    HelperReport report;
    const char* state;
    std::optional<const char*> advice;
  };
  const Row rows[] = {
      {{}, "No helper is installed", "package"},
      {{.isInstalled = true, .program = "/opt/VigiloHelper"}, "does not run", "sudo \"/opt/VigiloHelper\""},
      {{.isInstalled = true, .unitFile = "/lib/vigilo-helper.service"},
       "does not run",
       "systemctl enable --now"},
      {running(true, false, false), "holds nothing", {}},
      {running(true, true, true), "holds system sleep off, also with the lid closed", {}},
      {running(true, true, false), "not in force, so a closed lid suspends", "journalctl"},
      {running(false, true, true), "holds system sleep off", "without root"},
      {besideHost(running(true, true, true)), "holds system sleep off", "nobody else reaches it"}};
  for (const auto& [report, state, advice] : rows) {
    const auto found = helperAdvice(report);
    EXPECT_EQ(found.has_value(), advice.has_value()) << state;
    EXPECT_NE(found.value_or("").find(advice.value_or("")), std::string::npos) << state;
    const std::string text = helperReportText(report, Date());
    EXPECT_NE(text.find(state), std::string::npos) << text;
  }
}

TEST(HelperReport, ClaimsNoHoldOfSomebodyElse) {
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  const Date now = Date::fromUnix(1795262400);
  HelperReport report = running(true, true, true);
  report.status->leaseExpiresAt = now + 25 * 3600;
  const std::string others = helperReportText(report, now);
  EXPECT_NE(others.find("another user, or an earlier host of this user; no host of yours renews it"),
            std::string::npos)
      << others;
  report.status->holderUserId = ::geteuid();
  EXPECT_NE(helperReportText(report, now).find("an earlier host of this user; no"), std::string::npos);
  report.status->holderUserId = 4000000000;
  EXPECT_NE(helperReportText(report, now).find("user 4000000000; no"), std::string::npos);
  EXPECT_NE(others.find("lease until   Sun 2026-11-22"), std::string::npos) << others;
  report.isOwnHold = true;
  report.holdingSince = now - 60;
  const std::string own = helperReportText(report, now);
  EXPECT_NE(own.find("(1 min), for the host of this user"), std::string::npos) << own;
}

}  // namespace
}  // namespace vigilo
