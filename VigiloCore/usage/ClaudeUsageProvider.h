#pragma once

#include "platform/Directories.h"
#include "usage/PollingUsageProvider.h"

namespace vigilo {

// What Claude Code used, after the logs in ~/.claude/projects. Thread-safe as PollingUsageProvider says.
class ClaudeUsageProvider final : public PollingUsageProvider {
 public:
  static constexpr const char* queueLabel = "com.vigilo.usage.claude";

  ClaudeUsageProvider(const Directories& directories, Queue& queue, Clock clock);
};

}  // namespace vigilo
