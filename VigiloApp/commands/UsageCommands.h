#pragma once

#include <optional>
#include <string>

#include "platform/Directories.h"
#include "support/Date.h"

namespace vigilo {

// The commands that tell what the agents spent. Each asks the running host, or, without one, reads what it
// left: the usage store's file, and for the budgets the agents' own records once, recording nothing. Each
// returns the process's exit code.

struct UsageOptions {
  std::string from;  // "2026-11-21", a local day, or a moment in ISO 8601; empty for none
  std::string to;    // the same; a day counts to its end
  bool json = false;
};
// `vigilo usage`: totals and per agent; today's where neither end is given.
int usageCommand(const Directories& directories, const UsageOptions& options);

// `vigilo usage sessions`: the most recently active first.
int usageSessionsCommand(const Directories& directories, long long limit, bool json);

// `vigilo usage export`: the privacy-safe JSON, to a file or to standard output.
int usageExportCommand(const Directories& directories, const std::optional<std::string>& file);

// `vigilo usage reset`: asks first, unless `yes`.
int usageResetCommand(const Directories& directories, bool yes);

// `vigilo budgets`: a row for each agent; what is unavailable says why.
int budgetsCommand(const Directories& directories, bool json);

// The moment that the text names: of a day, its beginning or, as the end of a range, its last moment.
std::optional<Date> parseMoment(const std::string& text, bool endOfRange);

}  // namespace vigilo
