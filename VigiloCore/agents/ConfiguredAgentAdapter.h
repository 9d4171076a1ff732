#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agents/AgentAdapter.h"
#include "agents/AgentSurroundings.h"
#include "agents/RelayMention.h"

namespace vigilo {

// What the adapters of agents with hooks or a plug-in share: the executable is looked for, asked for its
// version, and its configuration is searched for the relay.
class ConfiguredAgentAdapter : public AgentAdapter {
 public:
  AgentType agentType() const override { return traits_.agent; }
  std::optional<std::string> targetConfigPath() const override { return traits_.targetConfigPath; }
  std::string manualSetupSnippet(const std::optional<std::string>& relayBinaryPath) const override {
    return plainSnippet(relayBinaryPath.value_or(std::string(relayName)));
  }
  std::optional<CurrentReleaseSetup> currentReleaseSetup(
      const std::optional<std::string>& relayBinaryPath) const override {
    return currentSetup(relayBinaryPath.value_or(std::string(relayName)));
  }
  std::vector<ConfigurationFinding> configurations() const override;

 protected:
  struct Traits {
    AgentType agent{};
    const char* executable;
    const char* fallback;  // a path of the executable where the search path has none
    const char* targetConfigPath;
    const char* activeMessage;
    const char* missingMessage;
  };
  // A file in which the relay could stand, and how to read it.
  struct Source {
    std::string path;  // absolute
    std::function<RelayMention(std::string_view text)> read;
    std::optional<std::string> caveat;  // whatever it says: why the current release does not run it
  };

  ConfiguredAgentAdapter(const Traits& traits, AgentSurroundings surroundings)
      : traits_(traits), surroundings_(std::move(surroundings)) {}

  const AgentSurroundings& surroundings() const { return surroundings_; }
  IntegrationStatus look() const override;

  // In the order of `configurations`.
  virtual std::vector<Source> sources() const = 0;
  virtual std::string plainSnippet(const std::string& relay) const = 0;
  virtual CurrentReleaseSetup currentSetup(const std::string& relay) const = 0;

 private:
  const Traits traits_;
  const AgentSurroundings surroundings_;
};

}  // namespace vigilo
