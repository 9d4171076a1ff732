#pragma once

#include <vector>

#include "VigiloApp/top/Screen.h"
#include "VigiloApp/top/TopModel.h"

namespace vigilo {

// A part of the screen that can show a section of more lines than it has.
struct ScrolledLines {
  std::vector<Line> lines;  // exactly as many as asked for
  int scroll = 0;           // what was asked for, within what there is
};

// The agents' sessions under a title, grouped by family, each with its state and age. Pure.
ScrolledLines topAgents(const TopView& view, int height);

}  // namespace vigilo
