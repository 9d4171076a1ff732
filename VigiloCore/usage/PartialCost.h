#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vigilo {

// A sum of costs as people read it: where some of its turns have no known price, it is only what the others
// cost at least. `amount` is the sum in words, "$6.17". Pure functions.

// "≥ $6.17", or the amount as it is.
std::string atLeast(const std::string& amount, std::optional<std::int64_t> unpriced,
                    std::string_view sign = "≥");
// "143 turns without a price".
std::string unpricedTurns(std::int64_t count);
// "≥ $6.17, 143 turns without a price", or the amount as it is.
std::string atLeastInWords(const std::string& amount, std::optional<std::int64_t> unpriced,
                           std::string_view sign = "≥");

}  // namespace vigilo
