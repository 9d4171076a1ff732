#include "support/Uuid.h"

#include <sys/random.h>

#include <array>
#include <cstdint>

#include "support/Log.h"

namespace vigilo {

std::string makeUuid() {
  // One system call for all of it: a backlog of usage asks for tens of thousands.
  std::array<std::uint8_t, 16> bytes{};
  if (::getentropy(bytes.data(), bytes.size()) != 0) fatal("the system gives no random bytes");
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // variant 1
  std::string text;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    if (index == 4 || index == 6 || index == 8 || index == 10) text += '-';
    text += "0123456789ABCDEF"[bytes[index] >> 4];
    text += "0123456789ABCDEF"[bytes[index] & 0x0F];
  }
  return text;
}

}  // namespace vigilo
