#pragma once

#include "agents/ConfiguredAgentAdapter.h"

namespace vigilo {

// OpenCode: a plug-in in JavaScript.
class OpenCodeAdapter final : public ConfiguredAgentAdapter {
 public:
  explicit OpenCodeAdapter(AgentSurroundings surroundings);
  std::optional<std::string> manualSetupInstructions() const override;

 protected:
  std::vector<Source> sources() const override;
  std::string plainSnippet(const std::string& relay) const override;
  CurrentReleaseSetup currentSetup(const std::string& relay) const override;

 private:
  std::string pluginFile() const;
};

}  // namespace vigilo
