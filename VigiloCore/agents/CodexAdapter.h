#pragma once

#include "agents/ConfiguredAgentAdapter.h"

namespace vigilo {

// Codex CLI: a notification program, or hooks, in a TOML file.
class CodexAdapter final : public ConfiguredAgentAdapter {
 public:
  explicit CodexAdapter(AgentSurroundings surroundings);
  std::optional<std::string> manualSetupInstructions() const override;

 protected:
  std::vector<Source> sources() const override;
  std::string plainSnippet(const std::string& relay) const override;
  CurrentReleaseSetup currentSetup(const std::string& relay) const override;

 private:
  std::string configurationFile() const;
};

}  // namespace vigilo
