#include "agents/ProcessAgentAdapter.h"

#include <algorithm>

namespace vigilo {
namespace {

bool containsName(const std::string& text, std::string_view name) {
  const auto sameLetter = [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + ('a' - 'A') : a) == b; };
  return std::search(text.begin(), text.end(), name.begin(), name.end(), sameLetter) != text.end();
}

}  // namespace

bool ProcessAgentAdapter::isRunning() const {
  const auto applications = surroundings_.runningApplications();
  return std::any_of(applications.begin(), applications.end(),
                     [&](const std::string& text) { return containsName(text, traits_.name); });
}

IntegrationStatus ProcessAgentAdapter::look() const {
  IntegrationStatus status{.integrationType = integrationType(), .statusMessage = "Not installed"};
  const auto executable = surroundings_.findExecutable(traits_.name, "");
  const bool isFound = traits_.isApplication ? isRunning() : executable.has_value();
  status.isInstalled = isFound || executable;
  status.isIntegrationActive = isFound;
  if (isFound)
    status.statusMessage = traits_.foundMessage;
  else if (executable)
    status.statusMessage = "Installed (Not running)";
  // An editor's launcher may well open a window; a command-line tool only answers.
  if (executable && !traits_.isApplication) status.agentVersion = surroundings_.versionOf(*executable);
  return status;
}

}  // namespace vigilo
