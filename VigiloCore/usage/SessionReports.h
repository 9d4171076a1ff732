#pragma once

#include <map>
#include <optional>
#include <string>

#include "support/Date.h"
#include "usage/Budgets.h"

namespace vigilo {

// The newest report of each session of one agent, and which of them stands for the agent: the newest of all,
// unless an active session has less of its context left, by a step of alert. A session may have parts with
// contexts of their own, the sub-agents beside the main conversation: a line of one must not hide that
// another is nearly full, and while one of them works, all are active. Not thread-safe.
class SessionReports {
 public:
  static constexpr double activeSeconds = 15 * 60;  // after the last line

  // In place of an earlier report of the part; `activeAt` is when it was written. One that is not the newest
  // of all comes late.
  void put(const std::string& part, ProviderBudgetReport report, Date activeAt, bool isNewest = true);

  // With the newest quota, which is the account's, and the alert as of now. Absent before the first report.
  std::optional<ProviderBudgetReport> current(Date now);

 private:
  struct Entry {
    ProviderBudgetReport report;
    Date activeAt;
  };

  void forgetInactive(Date now);

  std::map<std::string, Entry> parts_;
  std::string newest_;
};

}  // namespace vigilo
