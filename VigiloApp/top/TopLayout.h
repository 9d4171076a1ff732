#pragma once

#include "VigiloApp/top/Screen.h"
#include "VigiloApp/top/TopModel.h"

namespace vigilo {

struct TopFrame {
  Screen screen;
  int scroll = 0;      // the model's, within what there is to scroll
  int scrollPage = 1;  // lines of sessions in view
};

// The live view for a terminal of this size. What is most important comes first where room is short; the
// division depends on the size alone, so that nothing jumps when sessions come and go. Pure.
TopFrame layOutTop(const TopModel& model, int width, int height, const Glyphs& glyphs);

}  // namespace vigilo
