#pragma once

#include <vector>

#include "VigiloApp/top/Screen.h"
#include "VigiloApp/top/TopModel.h"

namespace vigilo {

// What the agents spend, for the live view. Pure functions; each gives exactly `height` lines.

// Each agent's context window, quota and cost under a title. What runs low stands first.
std::vector<Line> topBudgets(const TopView& view, int height);

// The tokens of the last hours as columns under a title with the day's totals.
std::vector<Line> topTokens(const TopView& view, int height);

}  // namespace vigilo
