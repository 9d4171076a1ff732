#include "HookInput.h"

namespace vigilo::relay {
namespace {

constexpr std::uint32_t replacementCharacter = 0xFFFD;

int hexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  const char lower = static_cast<char>(digit | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// What a backslash and this letter stand for; the letter itself where JSON knows no such escape.
char unescaped(char letter) {
  switch (letter) {
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return letter;
  }
}

bool isBlank(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

}  // namespace

void HookInput::feed(std::string_view bytes) {
  for (const char byte : bytes) {
    if (stage_ == Stage::done) return;
    if (inString_) {
      takeInString(byte);
    } else {
      takeStructure(byte);
    }
  }
}

void HookInput::takeStructure(char byte) {
  if (stage_ == Stage::start) {
    if (isBlank(byte)) return;
    stage_ = byte == '{' ? Stage::key : Stage::done;
    depth_ = 1;
    return;
  }
  switch (byte) {
    case '"':
      return openString();
    case '{':
    case '[':
      ++depth_;
      return;
    case '}':
    case ']':
      if (--depth_ == 0) stage_ = Stage::done;
      if (depth_ == 1) stage_ = Stage::comma;
      return;
    case ':':
      if (depth_ == 1 && stage_ == Stage::colon) stage_ = Stage::value;
      return;
    case ',':
      if (depth_ == 1) stage_ = Stage::key;
      return;
    default:
      return;  // blanks, numbers and names
  }
}

void HookInput::openString() {
  inString_ = true;
  if (depth_ == 1 && stage_ == Stage::key) {
    target_ = Target::key;
    key_.clear();
  } else {
    target_ = depth_ == 1 && stage_ == Stage::value ? targetOfKey() : Target::nothing;
  }
}

void HookInput::closeString() {
  inString_ = false;
  if (depth_ == 1) stage_ = target_ == Target::key ? Stage::colon : Stage::comma;
}

// Nothing for a key that was met before: the first value stays.
HookInput::Target HookInput::targetOfKey() const {
  const std::string_view key = key_.view();
  if (key_.isCut()) return Target::nothing;
  if (key == "session_id" && sessionId_.view().empty()) return Target::sessionId;
  if (key == "thread-id" && threadId_.view().empty()) return Target::threadId;
  if (key == "cwd" && cwd_.view().empty()) return Target::cwd;
  if (key == "type" && type_.view().empty()) return Target::type;
  return Target::nothing;
}

void HookInput::takeInString(char byte) {
  if (escape_ != Escape::none) return takeEscape(byte);
  if (byte == '\\') {
    escape_ = Escape::backslash;
    return;
  }
  dropHalfPair();
  if (byte == '"') {
    closeString();
  } else {
    append(byte);
  }
}

void HookInput::takeEscape(char byte) {
  if (escape_ == Escape::backslash && byte == 'u') {
    escape_ = Escape::unicode;
    hexDigits_ = 0;
    codeUnit_ = 0;
  } else if (escape_ == Escape::backslash) {
    escape_ = Escape::none;
    dropHalfPair();
    append(unescaped(byte));
  } else if (const int digit = hexValue(byte); digit < 0) {
    // Not an escape after all; the byte may well be the quote that ends the string.
    escape_ = Escape::none;
    appendCodePoint(replacementCharacter);
    takeInString(byte);
  } else {
    codeUnit_ = codeUnit_ * 16 + static_cast<std::uint32_t>(digit);
    if (++hexDigits_ < 4) return;
    escape_ = Escape::none;
    takeCodeUnit(codeUnit_);
  }
}

void HookInput::takeCodeUnit(std::uint32_t unit) {
  const bool isHigh = unit >= 0xD800 && unit < 0xDC00;
  const bool isLow = unit >= 0xDC00 && unit < 0xE000;
  if (isLow && highSurrogate_ != 0) {
    appendCodePoint(0x10000 + ((highSurrogate_ - 0xD800) << 10) + (unit - 0xDC00));
    highSurrogate_ = 0;
    return;
  }
  dropHalfPair();
  if (isHigh) {
    highSurrogate_ = unit;
  } else {
    appendCodePoint(isLow ? replacementCharacter : unit);
  }
}

void HookInput::dropHalfPair() {
  if (highSurrogate_ != 0) appendCodePoint(replacementCharacter);
  highSurrogate_ = 0;
}

void HookInput::appendCodePoint(std::uint32_t codePoint) {
  const auto tail = [&](int shift) { append(static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F))); };
  if (codePoint < 0x80) {
    append(static_cast<char>(codePoint));
  } else if (codePoint < 0x800) {
    append(static_cast<char>(0xC0 | (codePoint >> 6)));
    tail(0);
  } else if (codePoint < 0x10000) {
    append(static_cast<char>(0xE0 | (codePoint >> 12)));
    tail(6);
    tail(0);
  } else {
    append(static_cast<char>(0xF0 | (codePoint >> 18)));
    tail(12);
    tail(6);
    tail(0);
  }
}

void HookInput::append(char byte) {
  switch (target_) {
    case Target::nothing:
      return;
    case Target::key:
      return key_.append(byte);
    case Target::sessionId:
      return sessionId_.append(byte);
    case Target::threadId:
      return threadId_.append(byte);
    case Target::cwd:
      return cwd_.append(byte);
    case Target::type:
      return type_.append(byte);
  }
}

}  // namespace vigilo::relay
