#include "support/TomlText.h"

#include <algorithm>
#include <string>

namespace vigilo {
namespace {

TomlError errorAt(std::string_view text, std::size_t at, const char* what) {
  const auto before = text.substr(0, at);
  const auto line = std::ranges::count(before, '\n') + 1;
  const auto begin = before.rfind('\n') + 1;  // 0 where there is none
  const auto column =
      std::ranges::count_if(before.substr(begin), [](char c) { return (c & 0xC0) != 0x80; }) + 1;
  return {"line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + what};
}

bool isBeyondAscii(std::string_view text, std::size_t at) {
  return at < text.size() && static_cast<unsigned char>(text[at]) >= 0x80;
}

// Where the string that begins at `at` ends, behind its last quote; or where the library would look for
// blanks beyond ASCII in it: behind a backslash. A string of one line ends with the line at the latest: no
// parser reads on there.
std::size_t stringEnd(std::string_view text, std::size_t at) {
  const char quote = text[at];
  const std::string three(3, quote);
  const bool isLong = text.substr(at).starts_with(three);
  for (at += isLong ? 3 : 1; at < text.size(); ++at) {
    if (quote == '"' && text[at] == '\\') {
      const std::size_t next = std::min(text.find_first_not_of(" \t\r\n", at + 1), text.size());
      if ((isLong || next == at + 1) && isBeyondAscii(text, next)) return next;
      ++at;
    } else if (isLong && text.substr(at).starts_with(three)) {
      // Two quotes more may stand before the end.
      return std::min({text.find_first_not_of(quote, at), at + 5, text.size()});
    } else if (!isLong && (text[at] == quote || text[at] == '\n')) {
      return at + 1;
    }
  }
  return text.size();
}

std::optional<TomlError> controlProblem(std::string_view text) {
  const auto control = std::ranges::find_if(text, [](char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0x7f;
  });
  if (control != text.end())
    return errorAt(text, static_cast<std::size_t>(control - text.begin()), "a control character");
  return std::nullopt;
}

}  // namespace

std::optional<TomlError> tomlTextProblem(std::string_view text) {
  if (auto problem = controlProblem(text)) return problem;
  char before = '\n';
  bool inValue = false;
  for (std::size_t at = text.starts_with("\xEF\xBB\xBF") ? 3 : 0; at < text.size();) {
    const char c = text[at];
    if (isBeyondAscii(text, at)) return errorAt(text, at, "a character beyond ASCII where none can be read");
    // Within a value it is none to the library either, and what follows no string.
    if (inValue && c == '=') return errorAt(text, at, "an equals sign within a value");
    inValue = c == '=' || (inValue && c != '\n' && c != ',' && c != '{');
    const bool isQuote = c == '"' || c == '\'';
    // Behind anything else these are no brackets or quotes to the library, which goes on to what follows
    // them.
    const std::string_view mayPrecede = inValue || !isQuote ? " \t\r\n=[{," : " \t\r\n=[{,.";
    if ((isQuote || c == '[' || c == '{') && mayPrecede.find(before) == std::string_view::npos)
      return errorAt(text, at, isQuote ? "a quote within a word" : "a bracket within a word");
    before = c;
    if (c == '#')
      at = std::min(text.find('\n', at), text.size());
    else
      at = isQuote ? stringEnd(text, at) : at + 1;
  }
  return std::nullopt;
}

}  // namespace vigilo
