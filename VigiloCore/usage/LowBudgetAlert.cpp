#include "usage/LowBudgetAlert.h"

#include <cmath>
#include <cstdio>

#include "support/RecordCoding.h"

namespace vigilo {
namespace {

struct LevelTraits {
  const char* label;
  const char* wording;  // the label within a sentence
};

// In declaration order of LowBudgetLevel.
constexpr LevelTraits levelTraits[] = {
    {"Low", "low"}, {"Critically Low", "critically low"}, {"Exhausted", "exhausted"}};

std::optional<LowBudgetLevel> levelAt(double percent) {
  if (percent <= 5) return LowBudgetLevel::exhausted;
  if (percent <= 10) return LowBudgetLevel::critical;
  if (percent <= 20) return LowBudgetLevel::warning;
  return std::nullopt;
}

std::optional<LowBudgetAlert> check(std::optional<double> percent, LowBudgetMetricType metric) {
  const auto level = percent ? levelAt(*percent) : std::nullopt;
  if (!level) return std::nullopt;
  char message[400];
  // Adding 0 turns the -0 that rounding can leave into 0.
  std::snprintf(message, sizeof message, "%s is %s (%.0f%% remaining)",
                metric == LowBudgetMetricType::context ? "Context window" : "Account quota",
                levelTraits[static_cast<int>(*level)].wording, std::round(*percent) + 0.0);
  return LowBudgetAlert{*level, metric, *percent, message};
}

}  // namespace

const char* displayLabel(LowBudgetLevel level) {
  return levelTraits[static_cast<int>(level)].label;
}

std::optional<LowBudgetAlert> LowBudgetThreshold::evaluate(std::optional<double> contextRemainingPercent,
                                                           std::optional<double> quotaRemainingPercent) {
  const auto quota = check(quotaRemainingPercent, LowBudgetMetricType::quota);
  const auto context = check(contextRemainingPercent, LowBudgetMetricType::context);
  if (!quota || !context) return quota ? quota : context;
  return context->level > quota->level ? context : quota;
}

VIGILO_RECORD_CODING(LowBudgetAlert);

}  // namespace vigilo
