#pragma once

#include <future>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "agents/AgentModel.h"
#include "support/RecordFields.h"

namespace vigilo {

// What one of an agent's configuration files says about the relay.
struct ConfigurationFinding {
  std::string path;  // as people write it: "~/.claude/settings.json"
  bool exists = false;
  bool mentionsRelay = false;
  std::optional<std::string> problem;  // why it cannot be read: with line and column where it is malformed
  // What keeps the agent's current release from running, or fully running, what is configured here.
  std::optional<std::string> caveat;
  // What keeps the hooks from telling about the agent at all: a relay that is not there, a misspelt word.
  std::optional<std::string> fault;

  bool operator==(const ConfigurationFinding&) const = default;
  static constexpr auto fields() {
    using F = ConfigurationFinding;
    return std::tuple{
        field("path", &F::path),       field("exists", &F::exists), field("mentionsRelay", &F::mentionsRelay),
        field("problem", &F::problem), field("caveat", &F::caveat), field("fault", &F::fault)};
  }
};

// Another way to wire an agent up than its plain snippet: what its current release needs.
struct CurrentReleaseSetup {
  std::string reason;      // why the plain snippet does not do
  std::string configPath;  // the file that the snippet belongs in
  std::string snippet;
  std::string instructions;  // numbered steps
};

// Tells whether one agent is installed and wired to the relay, and hands the user what wires it. Never writes
// an agent's configuration. Constant after construction, so thread-safe.
class AgentAdapter {
 public:
  virtual ~AgentAdapter() = default;

  virtual AgentType agentType() const = 0;
  IntegrationType integrationType() const { return defaultIntegration(agentType()); }
  // The configuration file that the snippet belongs in; absent for an agent that is watched as a process.
  virtual std::optional<std::string> targetConfigPath() const { return std::nullopt; }

  // Looks on a thread of its own, which may run the agent's executable for its version; the adapter must live
  // until it is done. Whatever is wrong with the agent is part of the status.
  std::future<IntegrationStatus> detect() const {
    return std::async(std::launch::async, [this] { return look(); });
  }

  // The text for the configuration, with the relay's path or else "vigilo-relay"; empty where there is none.
  virtual std::string manualSetupSnippet(const std::optional<std::string>& relayBinaryPath) const = 0;
  virtual std::optional<std::string> manualSetupInstructions() const = 0;

  // Absent where the plain snippet is all there is.
  virtual std::optional<CurrentReleaseSetup> currentReleaseSetup(
      const std::optional<std::string>& /*relayBinaryPath*/) const {
    return std::nullopt;
  }
  // The files in which the relay could stand, the one that the current release reads first.
  virtual std::vector<ConfigurationFinding> configurations() const { return {}; }

 protected:
  virtual IntegrationStatus look() const = 0;
};

}  // namespace vigilo
