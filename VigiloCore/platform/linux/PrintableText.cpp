#include "platform/linux/PrintableText.h"

#include <clocale>
#include <cwchar>
#include <cwctype>

#include "platform/ProcessTable.h"

namespace vigilo {
namespace {

bool isPrintableAscii(char byte) {
  return byte >= ' ' && byte <= '~';
}

// The C library's tables say what can be printed, as they do for `ps`; the process's own locale stays as it
// is. Where the library lacks this locale nothing beyond ASCII is printable.
locale_t utf8Locale() {
  static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

// The length of the printable character that `bytes`, which do not begin with ASCII, begin with; none where
// they begin with something else, and then how much that takes.
struct Character {
  std::size_t length = 1;
  bool isPrintable = false;
};

Character characterAt(std::string_view bytes) {
  if (utf8Locale() == nullptr) return {};
  wchar_t wide = 0;
  std::mbstate_t state{};
  const std::size_t length = std::mbrtowc(&wide, bytes.data(), bytes.size(), &state);
  if (length == 0 || length > bytes.size()) return {};  // also the two kinds of failure
  return {length, ::iswprint_l(static_cast<wint_t>(wide), utf8Locale()) != 0};
}

void appendBeyondAscii(std::string& text, std::string_view& bytes) {
  const Character character = characterAt(bytes);
  if (character.isPrintable)
    text.append(bytes.substr(0, character.length));
  else
    text.push_back('?');
  bytes.remove_prefix(character.length);
}

}  // namespace

std::string printableText(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  const locale_t before = utf8Locale() != nullptr ? ::uselocale(utf8Locale()) : nullptr;
  while (!bytes.empty() && text.size() < longestCommand) {
    const char byte = bytes.front();
    if (static_cast<unsigned char>(byte) >= 0x80) {
      appendBeyondAscii(text, bytes);
      continue;
    }
    if (byte == '\0' || byte == '\n')
      text.push_back(' ');
    else
      text.push_back(isPrintableAscii(byte) ? byte : '?');
    bytes.remove_prefix(1);
  }
  if (before != nullptr) ::uselocale(before);
  return text;
}

}  // namespace vigilo
