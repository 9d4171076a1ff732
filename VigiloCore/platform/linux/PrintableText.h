#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vigilo {

// Where `ps` ends a command line: at 128 KiB, less the room for one more character.
inline constexpr std::size_t printableLimit = 128 * 1024 - 6;

// What `ps` prints for these bytes in a UTF-8 locale: a blank for each NUL and line feed, a "?" for each
// other character that cannot be printed and for each byte that is no character, and no further character
// once there are `printableLimit` bytes. Always UTF-8. Thread-safe.
std::string printableText(std::string_view bytes);

}  // namespace vigilo
