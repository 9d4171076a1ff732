#pragma once

#include <cstdint>
#include <string>

#include "VigiloApp/top/Glyphs.h"
#include "VigiloApp/top/Screen.h"

namespace vigilo {

// Small pieces that the parts of the live view share. Pure functions.

// "█████░░░": so much of 100 in `length` columns, with the style for what is full.
Line barLine(double percent, int length, Style style, const Glyphs& glyphs);

// "── Agents ─────────── 3 sessions ──", as wide as asked for.
Line ruleLine(const std::string& title, const Line& remark, int width, const Glyphs& glyphs);

// "1.24 M", "812 k", "950".
std::string shortCount(std::int64_t count);

// "12 s", "3 min", "2 h": the largest unit only.
std::string shortDuration(double seconds);

// The path with the home folder as "~", cut at its beginning where it is too long.
std::string shortPath(const std::string& path, const std::string& home, int width, const Glyphs& glyphs);

}  // namespace vigilo
