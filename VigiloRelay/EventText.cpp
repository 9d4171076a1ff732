#include "EventText.h"

#include <cstdint>

namespace vigilo::relay {
namespace {

static_assert((2 * longestName + longestId + longestPath) * 6 + 256 < 32768);

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

// The length of the valid UTF-8 sequence at the front, 0 where there is none.
std::size_t sequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t at) {
    return static_cast<std::uint8_t>(at < text.size() ? text[at] : 0);
  };
  const auto continues = [&](std::size_t at) { return (byte(at) & 0xC0) == 0x80; };
  const std::uint8_t first = byte(0);
  const std::uint8_t second = byte(1);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4 || !continues(1)) return 0;
  if (first < 0xE0) return 2;
  if (first < 0xF0) {
    const bool isOverlong = first == 0xE0 && second < 0xA0;
    const bool isSurrogate = first == 0xED && second >= 0xA0;
    return !isOverlong && !isSurrogate && continues(2) ? 3 : 0;
  }
  const bool isOverlong = first == 0xF0 && second < 0x90;
  const bool isTooLarge = first == 0xF4 && second >= 0x90;
  return !isOverlong && !isTooLarge && continues(2) && continues(3) ? 4 : 0;
}

void writeByte(char byte, EventText& text) {
  constexpr std::string_view digits = "0123456789abcdef";
  if (byte == '"' || byte == '\\') text.append('\\');
  if (static_cast<std::uint8_t>(byte) >= 0x20) return text.append(byte);
  text.append("\\u00");
  text.append(digits[static_cast<std::uint8_t>(byte) >> 4]);
  text.append(digits[static_cast<std::uint8_t>(byte) & 15]);
}

void writeString(std::string_view value, EventText& text) {
  text.append('"');
  while (!value.empty()) {
    const std::size_t length = sequenceLength(value);
    if (length == 1) {
      writeByte(value.front(), text);
    } else {
      text.append(length == 0 ? replacementCharacter : std::string_view(value.data(), length));
    }
    value.remove_prefix(length == 0 ? 1 : length);
  }
  text.append('"');
}

void writeField(std::string_view name, std::string_view value, std::size_t longest, EventText& text) {
  text.append(",\"");
  text.append(name);
  text.append("\":");
  writeString({value.data(), value.size() < longest ? value.size() : longest}, text);
}

void writeNumber(long long value, int leastDigits, EventText& text) {
  char digits[20];
  int count = 0;
  for (; value > 0 || count < leastDigits; value /= 10) digits[count++] = static_cast<char>('0' + value % 10);
  while (count > 0) text.append(digits[--count]);
}

}  // namespace

void writeEvent(const EventParts& parts, EventText& text) {
  text.append("{\"schema\":1");
  writeField("agent", parts.agent, longestName, text);
  if (!parts.sessionId.empty()) writeField("session_id", parts.sessionId, longestId, text);
  writeField("state", parts.state, longestName, text);
  text.append(",\"timestamp\":");
  writeNumber(parts.seconds, 1, text);
  text.append('.');
  writeNumber(parts.microseconds, 6, text);
  if (!parts.cwd.empty() && parts.cwd.size() <= longestPath) writeField("cwd", parts.cwd, longestPath, text);
  text.append('}');
}

}  // namespace vigilo::relay
