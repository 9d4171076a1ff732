#include "VigiloApp/control/PlainWords.h"

#include <algorithm>

namespace vigilo {
namespace {

bool isBusName(std::string_view word) {
  const bool isRooted = word.starts_with("org.") || word.starts_with("net.");
  return isRooted && std::ranges::count(word, '.') >= 2 && !word.ends_with('.') &&
         std::ranges::all_of(word, [](char c) {
           return c == '.' || c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                  (c >= 'a' && c <= 'z');
         });
}

}  // namespace

std::string plainWords(std::string_view line) {
  std::string text;
  while (!line.empty()) {
    const std::string_view word = line.substr(0, line.find_first_of(" :,()'\""));
    line.remove_prefix(word.size());
    if (isBusName(word) && line.starts_with(": ")) {
      line.remove_prefix(2);
      continue;
    }
    text += isBusName(word) ? word.substr(word.rfind('.') + 1) : word;
    if (line.empty()) break;
    text += line.front();
    line.remove_prefix(1);
  }
  return text;
}

}  // namespace vigilo
