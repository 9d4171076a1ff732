#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "support/RecordFields.h"

// The warning that little is left of a context window or of an account's quota. Plain values; thread-safe.
namespace vigilo {

// In order of severity, so that levels compare.
enum class LowBudgetLevel { warning, critical, exhausted };

template <>
struct RawValues<LowBudgetLevel> {
  static constexpr std::array table{std::pair{LowBudgetLevel::warning, std::string_view("warning")},
                                    std::pair{LowBudgetLevel::critical, std::string_view("critical")},
                                    std::pair{LowBudgetLevel::exhausted, std::string_view("exhausted")}};
};

const char* displayLabel(LowBudgetLevel level);  // "Low", "Critically Low", "Exhausted"

enum class LowBudgetMetricType { context, quota };

template <>
struct RawValues<LowBudgetMetricType> {
  static constexpr std::array table{std::pair{LowBudgetMetricType::context, std::string_view("context")},
                                    std::pair{LowBudgetMetricType::quota, std::string_view("quota")}};
};

struct LowBudgetAlert {
  LowBudgetLevel level{};
  LowBudgetMetricType metricType{};
  double percentageRemaining = 0;  // not rounded
  std::string message;             // for the user: "Account quota is critically low (8% remaining)"

  bool operator==(const LowBudgetAlert&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("level", &LowBudgetAlert::level),
                      field("metricType", &LowBudgetAlert::metricType),
                      field("percentageRemaining", &LowBudgetAlert::percentageRemaining),
                      field("message", &LowBudgetAlert::message)};
  }
};

// Turns what is left, in percent, into at most one alert: the more severe one, the quota's where both are
// equally severe. Nothing is remembered: whoever notifies keeps repetitions back.
struct LowBudgetThreshold {
  LowBudgetThreshold() = delete;
  static std::optional<LowBudgetAlert> evaluate(std::optional<double> contextRemainingPercent,
                                                std::optional<double> quotaRemainingPercent);
};

}  // namespace vigilo
