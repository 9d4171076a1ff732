#pragma once

#include <string>
#include <string_view>

namespace vigilo {

// Text as a terminal shows it: columns instead of bytes. Pure functions; thread-safe.

// How many columns well-formed UTF-8 takes: East Asian wide characters and emoji take two, combining marks
// none.
int displayWidth(std::string_view text);

// The longest beginning that takes at most `width` columns, whole characters with their combining marks.
std::string_view beginning(std::string_view text, int width);

// `text`, or its beginning with `ellipsis` behind it where it takes more than `width` columns.
std::string fitted(std::string_view text, int width, std::string_view ellipsis);

// What came from outside, fit to be shown: what is not UTF-8 and control characters become "?", and marks
// that only steer (direction, joining, byte order) go, since they would move what stands beside them.
std::string shown(std::string_view text);

// For a terminal that knows ASCII only: a few signs have a stand-in, every other column becomes "?".
std::string asciiOnly(std::string_view text);

}  // namespace vigilo
