#pragma once

#include <string>

namespace vigilo {

// The places where a VigiloDisplayState is shown. They only name themselves: drawing is theirs who own the
// screen. Constant after construction.
class MenuBarStatusSurface {
 public:
  const std::string surfaceIdentifier = "com.vigilo.surface.menubar";
};

class PopoverStatusSurface {
 public:
  const std::string surfaceIdentifier = "com.vigilo.surface.popover";
};

class NotchStatusSurface {
 public:
  const std::string surfaceIdentifier = "com.vigilo.surface.notch";
};

}  // namespace vigilo
