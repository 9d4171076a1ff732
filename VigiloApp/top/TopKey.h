#pragma once

namespace vigilo {

// Keys beside the characters.
enum TopKey : int { keyEscape = 27, keyUp = 0x1000, keyDown, keyPageUp, keyPageDown, keyHome, keyEnd };

}  // namespace vigilo
