#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "VigiloApp/control/LoginItemReport.h"
#include "VigiloApp/control/RecentLog.h"
#include "VigiloApp/control/StatusReport.h"
#include "VigiloApp/control/TextPages.h"
#include "support/RecordCoder.h"
#include "support/RecordFields.h"

// What the commands and the running host say to each other over the control socket, which only its owner can
// reach: one JSON line each way, then the host closes; after "follow" the host goes on, a line for each
// change. Dates are seconds since 2001-01-01 00:00:00 UTC, so that none loses its fraction.
namespace vigilo {

inline constexpr int controlVersion = 1;
inline constexpr CoderOptions controlForm{DateCoding::referenceSeconds, true, false};
inline constexpr std::size_t controlMessageLimit = 64 * 1024;  // a line with its line feed
// A follower that leaves more than this unread is dropped.
inline constexpr std::size_t followerBacklogLimit = 1024 * 1024;

// The commands' exit codes, after sysexits.h where it has one.
enum ExitCode : int {
  exitOk = 0,
  exitFailure = 1,
  exitNoHost = 3,
  exitUsage = 64,
  exitUnavailable = 69,
  exitAlreadyRunning = 75,
  exitNoPermission = 77,
  exitBadSettingsFile = 78,
};

enum class ControlCommand {
  status,
  follow,
  setSetting,
  resetSettings,
  listSettings,
  pause,
  resume,
  usageSummary,   // from, to
  usageSessions,  // limit, offset; as many as fit, newest first
  usageExport,    // first without a key; key, offset for the rest
  usageReset,
  budgets,
  loginStatus,
  diagnostics,  // first without a key; key, offset for the rest
  usageHours,   // limit: how many of the last hours
  recentLog,    // limit
};

template <>
struct RawValues<ControlCommand> {
  static constexpr std::array table{
      std::pair{ControlCommand::status, std::string_view("status")},
      std::pair{ControlCommand::follow, std::string_view("follow")},
      std::pair{ControlCommand::setSetting, std::string_view("setSetting")},
      std::pair{ControlCommand::resetSettings, std::string_view("resetSettings")},
      std::pair{ControlCommand::listSettings, std::string_view("listSettings")},
      std::pair{ControlCommand::pause, std::string_view("pause")},
      std::pair{ControlCommand::resume, std::string_view("resume")},
      std::pair{ControlCommand::usageSummary, std::string_view("usageSummary")},
      std::pair{ControlCommand::usageSessions, std::string_view("usageSessions")},
      std::pair{ControlCommand::usageExport, std::string_view("usageExport")},
      std::pair{ControlCommand::usageReset, std::string_view("usageReset")},
      std::pair{ControlCommand::budgets, std::string_view("budgets")},
      std::pair{ControlCommand::loginStatus, std::string_view("loginStatus")},
      std::pair{ControlCommand::diagnostics, std::string_view("diagnostics")},
      std::pair{ControlCommand::usageHours, std::string_view("usageHours")},
      std::pair{ControlCommand::recentLog, std::string_view("recentLog")}};
};

struct ControlRequest {
  int version = controlVersion;
  ControlCommand command{};
  std::optional<std::string> key;
  std::optional<std::string> value;           // as the user typed it
  std::optional<double> seconds;              // of a pause
  std::optional<Date> from, to;               // of a summary, both ends included
  std::optional<std::int64_t> limit, offset;  // of what comes in pieces

  static constexpr auto fields() {
    using R = ControlRequest;
    return std::tuple{
        field("version", &R::version), field("command", &R::command), field("key", &R::key),
        field("value", &R::value),     field("seconds", &R::seconds), field("from", &R::from),
        field("to", &R::to),           field("limit", &R::limit),     field("offset", &R::offset)};
  }
};

// One setting as it reads now.
struct SettingEntry {
  std::string key;
  std::string value;
  std::string defaultValue;
  std::string allowed;  // in words
  std::string meaning;  // in a line

  static constexpr auto fields() {
    using S = SettingEntry;
    return std::tuple{field("key", &S::key), field("value", &S::value),
                      field("defaultValue", &S::defaultValue), field("allowed", &S::allowed),
                      field("meaning", &S::meaning)};
  }
};

struct ControlResponse {
  int version = controlVersion;
  int exitCode = exitOk;               // for the command to end with
  std::optional<std::string> message;  // for people; an error where exitCode is not 0
  std::optional<StatusReport> status;  // status, follow
  std::optional<UsageSummary> usageSummary;
  std::optional<std::vector<SessionUsageRecord>> usageSessions;
  std::optional<TextPage> usageExport;
  std::optional<std::vector<ProviderBudgetReport>> budgets;
  std::optional<std::vector<SettingEntry>> settings;  // listSettings
  // What in the settings file is not as it should be, a line each; with `settings`. Absent where nothing is.
  std::optional<std::vector<std::string>> settingsProblems;
  std::optional<LoginItemReport> loginItem;  // loginStatus
  std::optional<TextPage> diagnostics;
  std::optional<std::vector<UsageHour>> usageHours;  // oldest first
  std::optional<std::vector<LogEntry>> recentLog;    // newest last

  static constexpr auto fields() {
    using R = ControlResponse;
    return std::tuple{
        field("version", &R::version),           field("exitCode", &R::exitCode),
        field("message", &R::message),           field("status", &R::status),
        field("settings", &R::settings),         field("settingsProblems", &R::settingsProblems),
        field("usageSummary", &R::usageSummary), field("usageSessions", &R::usageSessions),
        field("usageExport", &R::usageExport),   field("budgets", &R::budgets),
        field("loginItem", &R::loginItem),       field("diagnostics", &R::diagnostics),
        field("usageHours", &R::usageHours),     field("recentLog", &R::recentLog)};
  }
};

// One line with its line feed, at most `controlMessageLimit` bytes. Long texts are cut and end in an ellipsis
// then. A status with more sessions than fit keeps the active ones before the others and the newest before
// the older, and says how many were left out; a list of used sessions that does not fit loses its end, which
// its reader asks for next.
std::string controlLine(ControlResponse response);

}  // namespace vigilo
