#include "usage/PartialCost.h"

namespace vigilo {

std::string atLeast(const std::string& amount, std::optional<std::int64_t> unpriced, std::string_view sign) {
  return unpriced.value_or(0) > 0 ? std::string(sign) + " " + amount : amount;
}

std::string unpricedTurns(std::int64_t count) {
  return std::to_string(count) + (count == 1 ? " turn" : " turns") + " without a price";
}

std::string atLeastInWords(const std::string& amount, std::optional<std::int64_t> unpriced,
                           std::string_view sign) {
  const std::string text = atLeast(amount, unpriced, sign);
  return unpriced.value_or(0) > 0 ? text + ", " + unpricedTurns(*unpriced) : text;
}

}  // namespace vigilo
