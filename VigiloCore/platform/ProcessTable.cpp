#include "platform/ProcessTable.h"

#include <charconv>

namespace vigilo {

std::optional<ProcessLine> parseProcessLine(std::string_view line) {
  constexpr std::string_view blanks = " \t\r\n";
  const auto begin = line.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return std::nullopt;
  line = line.substr(begin, line.find_last_not_of(blanks) + 1 - begin);
  const auto blank = line.find(' ');
  if (blank == std::string_view::npos) return std::nullopt;
  if (line[blank + 1] == '[' && line.ends_with("] <defunct>")) return std::nullopt;
  ProcessLine result{0, std::string(line.substr(blank + 1))};
  const auto [end, error] = std::from_chars(line.data(), line.data() + blank, result.pid);
  if (error != std::errc() || end != line.data() + blank) return std::nullopt;
  return result;
}

}  // namespace vigilo
