#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "VigiloApp/top/Glyphs.h"

namespace vigilo {

// The word in letters three lines high, made of half blocks; where the terminal cannot draw those, spaced out
// on the middle one of three lines. Three lines of equal width. Knows capital letters and the blank.
std::vector<std::string> bigWord(std::string_view word, const Glyphs& glyphs);

}  // namespace vigilo
