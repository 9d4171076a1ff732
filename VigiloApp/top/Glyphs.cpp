#include "VigiloApp/top/Glyphs.h"

namespace vigilo {

std::string_view Glyphs::of(AgentState state) const {
  switch (state) {
    case AgentState::working:
      return working;
    case AgentState::waiting:
      return waiting;
    case AgentState::completed:
      return completed;
    case AgentState::error:
      return error;
    case AgentState::stale:
      return silent;
    case AgentState::idle:
    case AgentState::unknown:
      break;
  }
  return idle;
}

const Glyphs& Glyphs::unicode() {
  static const Glyphs glyphs{.rule = "─",
                             .ellipsis = "…",
                             .separator = "·",
                             .dot = "●",
                             .ring = "○",
                             .alert = "▲",
                             .barFull = "█",
                             .barEmpty = "░",
                             .up = "↑",
                             .down = "↓",
                             .levels = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"},
                             .upperHalf = "▀",
                             .lowerHalf = "▄",
                             .full = "█",
                             .working = "●",
                             .waiting = "◐",
                             .idle = "○",
                             .completed = "✓",
                             .error = "✗",
                             .silent = "◌"};
  return glyphs;
}

const Glyphs& Glyphs::console() {
  static const Glyphs glyphs = [] {
    Glyphs some = ascii();
    some.rule = "─";
    some.separator = "·";
    some.dot = some.working = "■";
    some.barFull = some.full = "█";
    some.barEmpty = "░";
    some.up = "↑";
    some.down = "↓";
    some.levels = {" ", "▄", "█"};
    some.upperHalf = "▀";
    some.lowerHalf = "▄";
    some.isAscii = false;
    return some;
  }();
  return glyphs;
}

const Glyphs& Glyphs::ascii() {
  static const Glyphs glyphs{.rule = "-",
                             .ellipsis = "~",
                             .separator = "-",
                             .dot = "*",
                             .ring = "o",
                             .alert = "!",
                             .barFull = "#",
                             .barEmpty = ".",
                             .up = "^",
                             .down = "v",
                             .levels = {" ", ".", ":", "|"},
                             .upperHalf = "",
                             .lowerHalf = "",
                             .full = "",
                             .working = "*",
                             .waiting = "~",
                             .idle = "o",
                             .completed = "+",
                             .error = "x",
                             .silent = ".",
                             .isAscii = true};
  return glyphs;
}

}  // namespace vigilo
