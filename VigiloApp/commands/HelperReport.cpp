#include "VigiloApp/commands/HelperReport.h"

#include <algorithm>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/HoldText.h"
#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/commands/TextTable.h"
#include "support/RecordCoding.h"

namespace vigilo {

VIGILO_RECORD_CODING(HelperReport);

namespace {

constexpr const char* itsLog = "`journalctl -u vigilo-helper`";

std::string row(const char* name, const std::string& text) {
  std::string line = std::string("  ") + name;
  line.append(16 - line.size(), ' ');
  return line + printable(text) + "\n";
}

std::string headline(const HelperReport& report) {
  if (!report.isInstalled) return "No helper is installed, so a closed lid suspends this machine.\n";
  if (!report.isRunning) return "The helper does not run, so a closed lid suspends this machine.\n";
  if (!report.status || !report.status->isDeepHoldActive) return "The helper runs and holds nothing.\n";
  if (report.status->isAskedForButNotInForce())
    return "The helper runs; its hold is asked for, not in force, so a closed lid suspends.\n";
  return "The helper runs and holds system sleep off, also with the lid closed.\n";
}

std::string holdRows(const HelperReport& report, Date now) {
  const DeepSleepStatus& status = *report.status;
  std::string text;
  if (report.isOwnHold && report.holdingSince) {
    text += row("since", localMoment(*report.holdingSince, now) + " (" +
                             durationText(std::max(0.0, now - *report.holdingSince)) +
                             "), for the host of this user");
  } else if (status.isDeepHoldActive) {
    text += row("for", holderText(status) + "; no host of yours renews it");
  }
  if (status.leaseExpiresAt) text += row("lease until", localMoment(*status.leaseExpiresAt, now));
  if (!status.isDeepHoldActive && status.currentSystemSleepDisabled)
    text += row("sleep", "is off all the same, but not by the helper");
  return text;
}

std::string installation(const HelperReport& report) {
  std::string text;
  if (report.unitFile)
    text += row("unit", *report.unitFile + (report.isUnitEnabled ? ", starts with the machine"
                                                                 : ", does not start by itself"));
  if (report.program) text += row("program", *report.program);
  return text;
}

}  // namespace

std::optional<std::string> helperAdvice(const HelperReport& report) {
  if (!report.isRunning) {
    if (report.unitFile) {
      return std::string("`sudo systemctl enable --now vigilo-helper` starts it; ") + itsLog +
             " tells why it ended.";
    }
    if (report.program) return "Run `sudo \"" + *report.program + "\"`, or install the package.";
    return "Install Vigilo's package, or run VigiloHelper as root.";
  }
  const bool holds = report.status && report.status->isDeepHoldActive;
  if (holds && report.status->isAskedForButNotInForce()) {
    return std::string("logind refuses or is missing: see the helper's log, ") +
           (report.isSystemHelper ? itsLog : "where it was started") + ".";
  }
  if (report.isBesideHost)
    return "It runs beside this user's host, in a file system of their own, where nobody else reaches it.";
  if (!report.isSystemHelper)
    return "It runs without root and holds only what the machine's policy lets its user hold.";
  return std::nullopt;
}

std::string helperReportText(const HelperReport& report, Date now) {
  std::string text = headline(report);
  if (report.status) text += holdRows(report, now);
  if (report.socket)
    text += row("socket", *report.socket + (report.isSystemHelper ? ", as root" : ", without root"));
  text += installation(report);
  if (report.advice) text += row(report.isRunning ? "note" : "what to do", *report.advice);
  return text;
}

}  // namespace vigilo
