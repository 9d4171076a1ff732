#include "usage/ModelRateCard.h"

#include <algorithm>

namespace vigilo {
namespace {

using Row = ModelRateCard::Row;

// Longest key first: several keys contain one another, and the longer one says more about a model's name.
// Input, output, cache read, cache write, reasoning; context window.
constexpr Row table[] = {
    {"nemotron-3.5-lightning-free", {0, 0, 0, 0, 0}, 128000},
    {"claude-3-5-sonnet-20241022", {3, 15, 0.3, 3.75, 15}, 200000},
    {"deepseek-v4-flash-free", {0, 0, 0, 0, 0}, 128000},
    {"claude-3-5-sonnet", {3, 15, 0.3, 3.75, 15}, 200000},
    {"claude-3-5-haiku", {0.8, 4, 0.08, 1, 4}, 200000},
    {"gemini-1.5-flash", {0.075, 0.3, 0.01875, 0, 0.3}, 1000000},
    {"gemini-2.0-flash", {0.1, 0.4, 0.025, 0, 0.4}, 1000000},
    {"gemini-3.7-flash", {0.1, 0.4, 0.025, 0, 0.4}, 1000000},
    {"claude-3-sonnet", {3, 15, 0.3, 3.75, 15}, 200000},
    {"gemini-1.5-pro", {3.5, 10.5, 0.875, 0, 10.5}, 2000000},
    {"claude-3-opus", {15, 75, 1.5, 18.75, 75}, 200000},
    {"claude-opus-5", {15, 75, 1.5, 18.75, 75}, 200000},
    {"gpt-5.6-terra", {3, 12, 1.5, 0, 12}, 258400},
    {"gpt-4o-mini", {0.15, 0.6, 0.075, 0, 0.6}, 128000},
    {"o1-preview", {15, 60, 0, 0, 60}, 128000},
    {"o1-mini", {3, 12, 0, 0, 12}, 128000},
    {"o3-mini", {1.1, 4.4, 0, 0, 4.4}, 200000},
    {"gpt-4o", {2.5, 10, 1.25, 0, 10}, 128000},
    {"o1", {15, 60, 0, 0, 60}, 200000},
};
static_assert(std::ranges::is_sorted(table, std::greater{}, [](const Row& row) { return row.key.size(); }));

// Keys are ASCII, so other letters need no lower case; and what surrounds a key does not matter. Longest
// first serves exact names too: a name that equals a key contains no longer one.
const Row* match(const std::optional<std::string>& modelId) {
  if (!modelId) return nullptr;
  std::string name = *modelId;
  std::ranges::transform(name, name.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  for (const Row& row : table) {
    if (name.find(row.key) != std::string::npos) return &row;
  }
  return nullptr;
}

}  // namespace

std::span<const Row> ModelRateCard::rows() {
  return table;
}

std::optional<std::int64_t> ModelRateCard::contextWindow(const std::optional<std::string>& modelId) {
  const Row* row = match(modelId);
  return row != nullptr ? std::optional(row->contextWindow) : std::nullopt;
}

std::optional<ModelRateCard::Rate> ModelRateCard::rate(const std::optional<std::string>& modelId) {
  const Row* row = match(modelId);
  return row != nullptr ? std::optional(row->rate) : std::nullopt;
}

std::optional<double> ModelRateCard::estimateCost(const std::optional<std::string>& modelId,
                                                  const Counts& counts) {
  const auto found = rate(modelId);
  if (!found) return std::nullopt;
  const auto priced = [](std::optional<std::int64_t> count, double perMillion) {
    return static_cast<double>(count.value_or(0)) / 1'000'000 * perMillion;
  };
  return priced(counts.inputTokens, found->inputPerMillionUSD) +
         priced(counts.outputTokens, found->outputPerMillionUSD) +
         priced(counts.cachedTokens, found->cacheReadPerMillionUSD) +
         priced(counts.cacheWriteTokens, found->cacheWritePerMillionUSD) +
         priced(counts.reasoningTokens, found->reasoningPerMillionUSD);
}

}  // namespace vigilo
