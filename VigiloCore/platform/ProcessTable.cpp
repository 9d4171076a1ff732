#include "platform/ProcessTable.h"

#include <charconv>

namespace vigilo {

namespace {

std::string_view shortened(std::string_view command) {
  const auto isInsideCharacter = [&](std::size_t at) {
    return at < command.size() && (static_cast<unsigned char>(command[at]) & 0xC0) == 0x80;
  };
  std::size_t end = longestCommand;
  while (isInsideCharacter(end)) ++end;
  command = command.substr(0, end);
  return command.substr(0, command.find_last_not_of(' ') + 1);
}

}  // namespace

std::optional<ProcessLine> parseProcessLine(std::string_view line) {
  constexpr std::string_view blanks = " \t\r\n";
  const auto begin = line.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return std::nullopt;
  line = line.substr(begin, line.find_last_not_of(blanks) + 1 - begin);
  const auto blank = line.find(' ');
  if (blank == std::string_view::npos) return std::nullopt;
  if (line[blank + 1] == '[' && line.ends_with("] <defunct>")) return std::nullopt;
  ProcessLine result{0, std::string(shortened(line.substr(blank + 1)))};
  const auto [end, error] = std::from_chars(line.data(), line.data() + blank, result.pid);
  if (error != std::errc() || end != line.data() + blank) return std::nullopt;
  return result;
}

}  // namespace vigilo
