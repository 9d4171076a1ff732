#pragma once

#include <functional>
#include <optional>

#include "support/Date.h"
#include "usage/Budgets.h"
#include "usage/UsageRecords.h"

namespace vigilo {

// One agent's records as a polling provider reads them. Not thread-safe: used on the provider's queue only.
class UsageSource {
 public:
  using Sink = std::function<void(UsageEvent)>;

  virtual ~UsageSource() = default;

  // Hands out what is new since the last call, oldest first; `now` is the time of reading. The sink must not
  // call back.
  virtual void readNew(Date now, const Sink& onEvent) = 0;
  // Of the newest usage read so far; absent before the first.
  virtual std::optional<ProviderBudgetReport> latestReport() const = 0;
};

// A report as all providers begin it: the session, the model, the counts and the cost of `event`; context and
// quota unavailable, no alert.
ProviderBudgetReport reportOf(const UsageEvent& event, Date now);

}  // namespace vigilo
