#include "support/Uuid.h"

#include <array>
#include <cstdint>
#include <random>

namespace vigilo {

std::string makeUuid() {
  std::random_device random;
  std::array<unsigned, 16> bytes{};
  for (auto& byte : bytes) byte = random() & 0xFFu;
  bytes[6] = (bytes[6] & 0x0Fu) | 0x40u;  // version 4
  bytes[8] = (bytes[8] & 0x3Fu) | 0x80u;  // variant 1
  std::string text;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    if (index == 4 || index == 6 || index == 8 || index == 10) text += '-';
    text += "0123456789ABCDEF"[bytes[index] >> 4];
    text += "0123456789ABCDEF"[bytes[index] & 0x0Fu];
  }
  return text;
}

}  // namespace vigilo
