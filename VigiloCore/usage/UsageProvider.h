#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "agents/AgentModel.h"
#include "usage/Budgets.h"
#include "usage/UsageRecords.h"

namespace vigilo {

// Takes all that one poll found, in the order of the files and their lines; never an empty batch. Called on
// the provider's queue with no lock held.
using UsageBatchHandler = std::function<void(std::vector<UsageEvent>)>;
// Told when a poll, the first one included, has brought another budget report; after the batch of that poll,
// where there is one, and as that.
using NewReportHandler = std::function<void()>;

// Reads one agent's own records of what it used, and never disturbs them. Idle, then monitoring from
// `startMonitoring` to `stopMonitoring`: the backlog at once, then a poll every 3 seconds. Each provider owns
// a serial queue on which it reads; all operations may be called from any thread but that queue's. Nothing
// fails outwards: what cannot be read is skipped.
class UsageProvider {
 public:
  virtual ~UsageProvider() = default;

  virtual AgentType agentType() const = 0;

  // Returns at once; the backlog is delivered on the provider's queue.
  virtual void startMonitoring(UsageBatchHandler onEvents, NewReportHandler onReport) = 0;
  // Neither handler is called after this has returned.
  virtual void stopMonitoring() = 0;

  // Polls now, waiting for it: what is new since the last poll, which is delivered to the handlers as well.
  virtual std::vector<UsageEvent> pollLatestEvents() = 0;
  // Of the most recent usage read; absent before the first.
  virtual std::optional<ProviderBudgetReport> latestBudgetReport() const = 0;
};

}  // namespace vigilo
