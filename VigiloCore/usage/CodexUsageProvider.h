#pragma once

#include "platform/Directories.h"
#include "usage/PollingUsageProvider.h"

namespace vigilo {

// What Codex used, after the session rollouts in ~/.codex/sessions. Thread-safe as PollingUsageProvider says.
class CodexUsageProvider final : public PollingUsageProvider {
 public:
  static constexpr const char* queueLabel = "com.vigilo.usage.codex";

  CodexUsageProvider(const Directories& directories, Queue& queue, Clock clock);
};

}  // namespace vigilo
