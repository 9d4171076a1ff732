#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vigilo {

// The built-in table of prices and context windows of known models. An agent's model name, lower-cased,
// matches the longest key that it contains; a name that is a key, white space around it aside, so matches
// that very row. No state; thread-safe.
class ModelRateCard {
 public:
  // US dollars per one million tokens.
  struct Rate {
    double inputPerMillionUSD = 0;
    double outputPerMillionUSD = 0;
    double cacheReadPerMillionUSD = 0;
    double cacheWritePerMillionUSD = 0;
    double reasoningPerMillionUSD = 0;
  };
  struct Row {
    std::string_view key;
    Rate rate;
    std::int64_t contextWindow = 0;  // tokens
  };
  struct Counts {
    std::optional<std::int64_t> inputTokens;
    std::optional<std::int64_t> outputTokens;
    std::optional<std::int64_t> cachedTokens;
    std::optional<std::int64_t> reasoningTokens;
    std::optional<std::int64_t> cacheWriteTokens;
  };

  ModelRateCard() = delete;

  // Longest key first.
  static std::span<const Row> rows();

  // Absent for an absent or unknown model; callers then use their own defaults.
  static std::optional<std::int64_t> contextWindow(const std::optional<std::string>& modelId);
  static std::optional<Rate> rate(const std::optional<std::string>& modelId);
  // Absent counts add nothing. Absent for an absent or unknown model.
  static std::optional<double> estimateCost(const std::optional<std::string>& modelId, const Counts& counts);
};

}  // namespace vigilo
