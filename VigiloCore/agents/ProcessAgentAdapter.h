#pragma once

#include <utility>

#include "agents/AgentAdapter.h"
#include "agents/AgentSurroundings.h"

namespace vigilo {

// What the adapters of agents without hooks share: such an agent is watched as a process, and nothing is to
// be configured.
class ProcessAgentAdapter : public AgentAdapter {
 public:
  AgentType agentType() const override { return traits_.agent; }
  std::string manualSetupSnippet(const std::optional<std::string>&) const override { return ""; }
  std::optional<std::string> manualSetupInstructions() const override { return traits_.instructions; }

 protected:
  struct Traits {
    AgentType agent{};
    const char*
        name;  // of the executable, and within the application's name or identifier, whatever its case
    // An application counts when it runs, a command-line tool when it is there.
    bool isApplication = false;
    const char* foundMessage;
    const char* instructions;
  };

  ProcessAgentAdapter(const Traits& traits, AgentSurroundings surroundings)
      : traits_(traits), surroundings_(std::move(surroundings)) {}

  IntegrationStatus look() const override;

 private:
  bool isRunning() const;

  const Traits traits_;
  const AgentSurroundings surroundings_;
};

}  // namespace vigilo
