#include "agents/ConfiguredAgentAdapter.h"

#include <cerrno>

#include "support/AtomicFile.h"

namespace vigilo {

std::vector<ConfigurationFinding> ConfiguredAgentAdapter::configurations() const {
  const auto isProgram = [this](const std::string& relay) {
    if (relay.find('/') != std::string::npos) return surroundings_.findExecutable("", relay).has_value();
    return surroundings_.findExecutable(relay, "").has_value();
  };
  std::vector<ConfigurationFinding> findings;
  for (const Source& source : sources()) {
    ConfigurationFinding finding{.path = surroundings_.shown(source.path)};
    const auto text = readFile(source.path);
    finding.exists = text || text.error().code != ENOENT;
    if (text) {
      RelayMention mention = source.read(*text);
      finding.mentionsRelay = mention.isMentioned;
      finding.problem = std::move(mention.problem);
      // In a file that is not read nothing is wrong.
      if (!source.caveat) finding.fault = faultInRelayCalls(mention.calls, traits_.agent, isProgram);
      finding.caveat = mention.isMentioned && source.caveat ? source.caveat : std::move(mention.caveat);
    } else if (finding.exists) {
      finding.problem = text.error().description;
    }
    findings.push_back(std::move(finding));
  }
  return findings;
}

IntegrationStatus ConfiguredAgentAdapter::look() const {
  IntegrationStatus status{.integrationType = integrationType(), .statusMessage = "Not installed"};
  const auto executable = surroundings_.findExecutable(traits_.executable, traits_.fallback);
  if (!executable) return status;
  status.isInstalled = true;
  status.agentVersion = surroundings_.versionOf(*executable);
  status.statusMessage = traits_.missingMessage;
  for (const auto& finding : configurations()) {
    status.isIntegrationActive = status.isIntegrationActive || finding.mentionsRelay;
    if (finding.problem) status.statusMessage = "Installed (" + finding.path + " cannot be read)";
  }
  if (status.isIntegrationActive) status.statusMessage = traits_.activeMessage;
  return status;
}

}  // namespace vigilo
