#pragma once

#include <string_view>

#include "FixedText.h"

namespace vigilo::relay {

// What the relay knows of an event; an empty text is not sent. Any bytes will do.
struct EventParts {
  std::string_view agent;
  std::string_view sessionId;
  std::string_view state;
  std::string_view cwd;
  long long seconds = 0;  // of the time since 1970
  long microseconds = 0;
};

// The longest texts that are sent, in bytes as they come in. Longer names and ids are cut; of a longer path
// nothing is sent.
inline constexpr std::size_t longestName = 64;
inline constexpr std::size_t longestId = 512;
inline constexpr std::size_t longestPath = 4096;

// Enough for all of them when each byte needs an escape of six. A receiver takes one read of 65,536 bytes at
// most, and the kernel hands a single write over whole only below about half of that.
using EventText = FixedText<32768>;

// One hook event as JSON: valid, and valid UTF-8, whatever the parts hold. Bytes that are not UTF-8 become
// replacement characters.
void writeEvent(const EventParts& parts, EventText& text);

}  // namespace vigilo::relay
