#include "support/Uuid.h"

#include <array>
#include <cstdio>
#include <random>

namespace vigilo {

std::string makeUuid() {
  std::random_device source;
  std::array<unsigned, 4> words{};
  for (auto& word : words) word = source();
  words[1] = (words[1] & 0xFFFF0FFFu) | 0x4000u;      // version 4: random
  words[2] = (words[2] & 0x3FFFFFFFu) | 0x80000000u;  // the usual variant
  char text[37];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%04X%08X", words[0], words[1] >> 16,
                words[1] & 0xFFFFu, words[2] >> 16, words[2] & 0xFFFFu, words[3]);
  return text;
}

}  // namespace vigilo
