#pragma once

#include <vector>

#include "VigiloApp/top/Screen.h"
#include "VigiloApp/top/TopModel.h"

namespace vigilo {

// The upper part of the live view: what is decided and why. Pure functions.

// The name, whether a host is heard, and the time.
Line topHeader(const TopView& view);

// The decision in large letters with its reason, its time and what would end it beside them: three lines.
std::vector<Line> topBanner(const TopView& view);
// The same in small: two lines.
std::vector<Line> topSmallBanner(const TopView& view);

}  // namespace vigilo
