#pragma once

#include "agents/ConfiguredAgentAdapter.h"

namespace vigilo {

// Claude Code: hooks in a JSON file. Its current releases read them from settings.json only.
class ClaudeCodeAdapter final : public ConfiguredAgentAdapter {
 public:
  explicit ClaudeCodeAdapter(AgentSurroundings surroundings);
  std::optional<std::string> manualSetupInstructions() const override;

 protected:
  std::vector<Source> sources() const override;
  std::string plainSnippet(const std::string& relay) const override;
  CurrentReleaseSetup currentSetup(const std::string& relay) const override;

 private:
  std::string settingsFile() const;
};

}  // namespace vigilo
