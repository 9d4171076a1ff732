#include "support/NearestWord.h"

#include <algorithm>
#include <vector>

namespace vigilo {
namespace {

constexpr std::size_t longestWord = 64;    // nobody mistypes a longer one
constexpr std::size_t leastBeginning = 3;  // letters that stand for a whole word
constexpr std::size_t lettersPerEdit = 3;

std::string lowered(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

std::size_t editsBetween(const std::string& one, const std::string& other) {
  // Rows of the table: edits from the first letters of `one` to the first letters of `other`.
  std::vector<std::size_t> beforeLast, last(other.size() + 1), row(other.size() + 1);
  for (std::size_t j = 0; j <= other.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= one.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
      if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
    beforeLast = last;
    last = row;
  }
  return last[other.size()];
}

}  // namespace

std::optional<std::string> nearestWord(std::string_view wrong, std::span<const std::string_view> rightWords) {
  if (wrong.size() > longestWord) return std::nullopt;
  const std::string typed = lowered(wrong);
  std::optional<std::string> nearest;
  std::size_t least = 2 * std::max<std::size_t>(1, typed.size() / lettersPerEdit) + 2;
  for (const std::string_view word : rightWords) {
    const std::string right = lowered(word);
    const bool begins = right.starts_with(typed);
    const std::size_t edits = begins && typed.size() >= leastBeginning ? 1 : editsBetween(typed, right);
    // Of two that are as near, the one that it begins.
    const std::size_t distance = 2 * edits + (begins ? 0 : 1);
    // A word of as many letters as there are edits has nothing in common with it.
    if (distance >= least || edits >= std::max(typed.size(), right.size())) continue;
    least = distance;
    nearest = word;
  }
  return nearest;
}

std::string didYouMean(std::string_view wrong, std::span<const std::string_view> rightWords) {
  const auto nearest = nearestWord(wrong, rightWords);
  return nearest ? " Did you mean \"" + *nearest + "\"?" : "";
}

}  // namespace vigilo
