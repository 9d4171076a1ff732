#pragma once

#include <string>
#include <vector>

#include "support/Log.h"

namespace vigilo {

// Tells the log what a hand has written wrong into the settings file, each once for as long as it stands
// there. Lives on one queue.
class SettingsNews {
 public:
  // What is wrong now, a line each.
  void tell(std::vector<std::string> problems);

 private:
  const Log log_{"com.vigilo.app", "settings"};
  std::vector<std::string> told_;
};

}  // namespace vigilo
