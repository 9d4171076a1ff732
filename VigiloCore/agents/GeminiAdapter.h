#pragma once

#include "agents/ConfiguredAgentAdapter.h"

namespace vigilo {

// Gemini CLI: hooks in a JSON file with comments.
class GeminiAdapter final : public ConfiguredAgentAdapter {
 public:
  explicit GeminiAdapter(AgentSurroundings surroundings);
  std::optional<std::string> manualSetupInstructions() const override;

 protected:
  std::vector<Source> sources() const override;
  std::string plainSnippet(const std::string& relay) const override;
  CurrentReleaseSetup currentSetup(const std::string& relay) const override;

 private:
  std::string settingsFile() const;
};

}  // namespace vigilo
