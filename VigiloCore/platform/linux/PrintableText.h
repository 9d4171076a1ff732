#pragma once

#include <string>
#include <string_view>

namespace vigilo {

// What `ps` prints for these bytes in a UTF-8 locale: a blank for each NUL and line feed, a "?" for each
// other character that cannot be printed and for each byte that is no character, and no further character
// once there are `longestCommand` bytes. Always UTF-8. Thread-safe.
std::string printableText(std::string_view bytes);

}  // namespace vigilo
