#include "usage/SessionReports.h"

#include <cmath>
#include <unordered_set>
#include <utility>

namespace vigilo {
namespace {

// How urgent what is left of the context is, 0 for not at all.
int urgency(const ProviderBudgetReport& report) {
  const auto context = report.context.value();
  if (!context) return 0;
  const auto alert = LowBudgetThreshold::evaluate(context->percentageRemaining, std::nullopt);
  return alert ? static_cast<int>(alert->level) + 1 : 0;
}

}  // namespace

void SessionReports::put(const std::string& part, ProviderBudgetReport report, Date activeAt, bool isNewest) {
  const auto known = parts_.find(part);
  if (!isNewest && known != parts_.end() && known->second.activeAt > activeAt) return;
  if (isNewest || newest_.empty()) newest_ = part;
  parts_[part] = {std::move(report), activeAt};
}

std::optional<ProviderBudgetReport> SessionReports::current(Date now) {
  if (parts_.empty()) return std::nullopt;
  forgetInactive(now);
  const ProviderBudgetReport& newest = parts_.at(newest_).report;
  const ProviderBudgetReport* chosen = &newest;
  for (const auto& [part, entry] : parts_) {
    if (urgency(entry.report) > urgency(*chosen)) chosen = &entry.report;
  }
  ProviderBudgetReport report = *chosen;
  report.quota = newest.quota;
  report.lastUpdated = newest.lastUpdated;
  report.lowBudgetAlert = report.evaluateAlert(now);
  return report;
}

void SessionReports::forgetInactive(Date now) {
  std::unordered_set<std::string> active;
  for (const auto& [part, entry] : parts_) {
    // A time in the future is a clock that was set.
    if (std::abs(now - entry.activeAt) < activeSeconds) active.insert(entry.report.sessionId.value_or(""));
  }
  std::erase_if(parts_, [&](const auto& entry) {
    return entry.first != newest_ && !active.contains(entry.second.report.sessionId.value_or(""));
  });
}

}  // namespace vigilo
