#pragma once

#include <string_view>
#include <vector>

#include "agents/AgentModel.h"

namespace vigilo {

// The signs that a terminal can draw. Constant values; thread-safe.
struct Glyphs {
  std::string_view rule, ellipsis, separator;
  std::string_view dot, ring;  // something is so; is not so
  std::string_view alert;
  std::string_view barFull, barEmpty;
  std::string_view up, down;
  std::vector<std::string_view> levels;         // of a column of the chart: from nothing to the whole cell
  std::string_view upperHalf, lowerHalf, full;  // of the big letters; empty where they cannot be drawn
  std::string_view working, waiting, idle, completed, error, silent;
  bool isAscii = false;

  std::string_view of(AgentState state) const;

  static const Glyphs& unicode();
  // What the font of a bare text console has.
  static const Glyphs& console();
  static const Glyphs& ascii();
};

}  // namespace vigilo
