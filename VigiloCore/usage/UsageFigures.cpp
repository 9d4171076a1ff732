#include "usage/UsageFigures.h"

#include "support/Log.h"

namespace vigilo {
namespace {

void add(std::int64_t& sum, std::int64_t value) {
  if (__builtin_add_overflow(sum, value, &sum)) fatal("a sum of token counts overflows");
}

template <class Sums>
void add(Sums& sums, const UsageFigures& figures) {
  add(sums.totalTokens, figures.totalTokens);
  add(sums.inputTokens, figures.inputTokens);
  add(sums.outputTokens, figures.outputTokens);
  add(sums.cachedTokens, figures.cachedTokens);
  add(sums.cacheWriteTokens, figures.cacheWriteTokens);
  add(sums.reasoningTokens, figures.reasoningTokens);
  if (figures.costUSD) sums.estimatedCostUSD = sums.estimatedCostUSD.value_or(0) + *figures.costUSD;
}

}  // namespace

UsageFigures UsageFigures::of(const UsageEvent& event) {
  return {event.effectiveTotalTokens().value_or(0),
          event.inputTokens.value_or(0),
          event.outputTokens.value_or(0),
          event.cachedTokens.value_or(0),
          event.cacheWriteTokens.value_or(0),
          event.reasoningTokens.value_or(0),
          event.costEstimateUSD};
}

void UsageFigures::addTo(SessionUsageRecord& sums) const {
  add(sums, *this);
}

void UsageFigures::addTo(AgentUsageSummary& sums) const {
  add(sums, *this);
}

void UsageFigures::addTo(UsageSummary& sums) const {
  add(sums, *this);
}

}  // namespace vigilo
