#include "VigiloApp/host/FoldersInUse.h"

#include <cstdlib>

#include "agents/AgentPlaces.h"
#include "platform/UserDefaults.h"
#include "policy/SettingsStore.h"
#include "support/AsioQueue.h"

namespace vigilo {
namespace {

std::optional<std::string> variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

std::vector<std::string> expanded(std::vector<std::string> folders, const Directories& directories) {
  for (auto& folder : folders) {
    if (folder.starts_with("~/")) folder = directories.atHome(folder.substr(1));
  }
  return folders;
}

}  // namespace

Directories withAgentFolders(Directories directories) {
  addAgentFolders(directories, AgentPlaces::namedByVariables(variable));
  const auto queue = AsioQueue::withThread("com.vigilo.settings");
  const auto defaults = makeUserDefaults(
      directories, [](const std::string&) { return false; }, *queue);
  const SettingsStore settings(*defaults);
  addAgentFolders(directories, {.claude = expanded(settings.claudeFolders(), directories),
                                .codex = expanded(settings.codexFolders(), directories),
                                .gemini = {},
                                .openCode = expanded(settings.openCodeFolders(), directories)});
  return directories;
}

}  // namespace vigilo
