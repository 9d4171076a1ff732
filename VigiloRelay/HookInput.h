#pragma once

#include <cstdint>
#include <string_view>

#include "FixedText.h"

namespace vigilo::relay {

// Picks what the relay wants out of the JSON object that an agent hands to its hook: the first string under
// each of four keys of the top level. What stands below the top level, a tool's input say, never counts.
//
// Takes the object in pieces of any size, keeps only what it picks, and is total: truncated, malformed or
// hostile bytes yield what could be read before, or nothing. Text comes out as it came in, escapes decoded;
// it need not be valid UTF-8. Not thread-safe.
class HookInput {
 public:
  // Longer values are cut. No real id is near the one; no path is longer than the other.
  using Id = FixedText<512>;
  using Path = FixedText<4096>;

  void feed(std::string_view bytes);
  // Nothing that follows can matter: the object has ended, or there is none.
  bool isComplete() const { return stage_ == Stage::done; }

  // "session_id", or else "thread-id". Empty when there is none.
  std::string_view sessionId() const {
    return sessionId_.view().empty() ? threadId_.view() : sessionId_.view();
  }
  // Empty when there is none, or when it does not fit: a part of a path is another path.
  std::string_view workingFolder() const { return cwd_.isCut() ? std::string_view() : cwd_.view(); }
  // "type": what a notification is about.
  std::string_view type() const { return type_.view(); }

 private:
  enum class Stage { start, key, colon, value, comma, done };  // within the top level: what comes next
  enum class Escape { none, backslash, unicode };
  enum class Target { nothing, key, sessionId, threadId, cwd, type };

  void takeStructure(char byte);
  void takeInString(char byte);
  void takeEscape(char byte);
  void takeCodeUnit(std::uint32_t unit);
  void openString();
  void closeString();
  Target targetOfKey() const;
  void dropHalfPair();
  void appendCodePoint(std::uint32_t codePoint);
  void append(char byte);

  Stage stage_ = Stage::start;
  std::uint64_t depth_ = 0;
  bool inString_ = false;
  Target target_ = Target::nothing;  // where the string that is being read goes
  Escape escape_ = Escape::none;
  int hexDigits_ = 0;                // read so far of a \u escape
  std::uint32_t codeUnit_ = 0;       // its value so far
  std::uint32_t highSurrogate_ = 0;  // waits for its other half

  FixedText<16> key_;
  Id sessionId_;
  Id threadId_;
  Path cwd_;
  FixedText<32> type_;
};

}  // namespace vigilo::relay
