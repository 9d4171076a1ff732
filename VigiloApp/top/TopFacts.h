#pragma once

#include <vector>

#include "VigiloApp/top/Screen.h"
#include "VigiloApp/top/TopModel.h"

namespace vigilo {

// What holds sleep off, battery, temperature and lid: as many facts beside one another as fit, the most
// important first, at most `height` lines. Pure.
std::vector<Line> topFacts(const TopView& view, int height);

}  // namespace vigilo
