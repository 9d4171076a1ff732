#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vigilo {

// Whether the bytes are well-formed UTF-8: no overlong forms, no surrogates, nothing beyond U+10FFFF.
bool isUtf8(std::string_view bytes);

// The text where it has at most `limit` bytes; else its beginning, cut between characters, and an ellipsis,
// at most `limit` bytes together. The limit is 3 or more.
std::string shortened(std::string_view text, std::size_t limit);

}  // namespace vigilo
