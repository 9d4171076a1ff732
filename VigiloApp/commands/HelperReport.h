#pragma once

#include <optional>
#include <string>
#include <tuple>

#include "helper/HelperProtocol.h"
#include "support/Date.h"
#include "support/RecordFields.h"

namespace vigilo {

// What `vigilo helper status` tells.
struct HelperReport {
  bool isInstalled = false;             // it answers, or its unit or its program was found
  bool isRunning = false;               // it answers
  std::optional<std::string> socket;    // at which it answers
  bool isSystemHelper = false;          // it answers as the system's: as root
  bool isBesideHost = false;            // in a file system of this user's host's own
  std::optional<std::string> unitFile;  // the service manager's
  bool isUnitEnabled = false;           // it starts with the machine
  std::optional<std::string> program;
  std::optional<DeepSleepStatus> status;  // absent when it does not answer
  bool isOwnHold = false;                 // the hold is that of the running host of this user
  std::optional<Date> holdingSince;       // as that host knows it
  std::optional<std::string> advice;      // what to do; absent when all is well

  static constexpr auto fields() {
    using R = HelperReport;
    return std::tuple{field("isInstalled", &R::isInstalled),
                      field("isRunning", &R::isRunning),
                      field("socket", &R::socket),
                      field("isSystemHelper", &R::isSystemHelper),
                      field("isBesideHost", &R::isBesideHost),
                      field("unitFile", &R::unitFile),
                      field("isUnitEnabled", &R::isUnitEnabled),
                      field("program", &R::program),
                      field("status", &R::status),
                      field("isOwnHold", &R::isOwnHold),
                      field("holdingSince", &R::holdingSince),
                      field("advice", &R::advice)};
  }
};

// What to do about the helper's state, absent when all is well. Looks at everything else in the report.
std::optional<std::string> helperAdvice(const HelperReport& report);
// For people; ends in a line feed.
std::string helperReportText(const HelperReport& report, Date now);

}  // namespace vigilo
