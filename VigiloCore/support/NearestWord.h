#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vigilo {

// Which of the right words was meant by a wrong one: the one that takes the fewest letters inserted, left
// out, replaced or swapped with their neighbour, whatever their case; of a longer word its beginning does.
// Absent where none is near. Thread-safe.
std::optional<std::string> nearestWord(std::string_view wrong, std::span<const std::string_view> rightWords);

// The same as the end of a message: " Did you mean \"status\"?", or nothing.
std::string didYouMean(std::string_view wrong, std::span<const std::string_view> rightWords);

}  // namespace vigilo
