#include "VigiloApp/host/SettingsNews.h"

#include <algorithm>

namespace vigilo {

void SettingsNews::tell(std::vector<std::string> problems) {
  for (const auto& problem : problems) {
    if (std::ranges::find(told_, problem) == told_.end()) log_.error("In the settings file: %s", problem);
  }
  told_ = std::move(problems);
}

}  // namespace vigilo
