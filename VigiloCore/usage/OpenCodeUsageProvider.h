#pragma once

#include "platform/Directories.h"
#include "usage/PollingUsageProvider.h"

namespace vigilo {

// What OpenCode used, after its database ~/.local/share/opencode/opencode.db. Thread-safe as
// PollingUsageProvider says.
class OpenCodeUsageProvider final : public PollingUsageProvider {
 public:
  static constexpr const char* queueLabel = "com.vigilo.usage.opencode";

  OpenCodeUsageProvider(const Directories& directories, Queue& queue, Clock clock);
};

}  // namespace vigilo
