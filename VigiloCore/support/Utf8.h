#pragma once

#include <string_view>

namespace vigilo {

// Whether the bytes are well-formed UTF-8: no overlong forms, no surrogates, nothing beyond U+10FFFF.
bool isUtf8(std::string_view bytes);

}  // namespace vigilo
