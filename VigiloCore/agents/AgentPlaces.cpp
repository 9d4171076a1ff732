#include "agents/AgentPlaces.h"

#include <algorithm>
#include <string_view>

#include "support/NormalPath.h"

namespace vigilo {
namespace {

using Folders = std::vector<std::string>;

// Below the home folder.
constexpr const char* usualClaude = "/.claude";
constexpr const char* usualCodex = "/.codex";
constexpr const char* usualGemini = "/.gemini";
constexpr const char* usualOpenCode = "/.local/share/opencode";

Folders usualAnd(const std::string& usual, const Folders& more) {
  Folders all{usual};
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

Folders below(const Folders& folders, const char* place) {
  Folders result;
  for (const auto& folder : folders) result.push_back(folder + place);
  return result;
}

bool holds(const std::string& folder, const std::string& path) {
  return folder == "/" || path == folder || path.starts_with(folder + "/");
}

void add(Folders& known, const char* usual, const Folders& more, const Directories& directories) {
  for (const auto& named : more) {
    const std::string folder = normalPath(named);
    const bool isUsable = folder.starts_with('/') && folder != directories.atHome(usual) &&
                          !holds(folder, directories.home) && !holds(folder, directories.vigilo()) &&
                          !holds(folder, directories.preferences) && !holds(folder, directories.temporary);
    if (isUsable && std::ranges::find(known, folder) == known.end()) known.push_back(folder);
  }
}

}  // namespace

AgentPlaces AgentPlaces::of(const Directories& directories) {
  const AgentFolders& more = directories.agentFolders;
  const Folders claude = usualAnd(directories.atHome(usualClaude), more.claude);
  const Folders codex = usualAnd(directories.atHome(usualCodex), more.codex);
  const Folders gemini = usualAnd(directories.atHome(usualGemini), more.gemini);
  const Folders openCode = usualAnd(directories.atHome(usualOpenCode), more.openCode);
  AgentPlaces places{below(claude, "/projects"),
                     below(codex, "/sessions"),
                     below(gemini, "/tmp"),
                     below(openCode, "/opencode.db"),
                     {}};
  for (const Folders* folders : {&codex, &claude, &gemini, &openCode})
    places.prohibited.insert(places.prohibited.end(), folders->begin(), folders->end());
  for (const char* place : {"/.claude.json", "/.config/opencode", "/.cursor", "/.windsurf", "/.antigravity"})
    places.prohibited.push_back(directories.atHome(place));
  return places;
}

AgentFolders AgentPlaces::namedByVariables(
    const std::function<std::optional<std::string>(const char* name)>& variable) {
  const auto named = [&variable](const char* name, const char* place) {
    const auto folder = variable(name);
    return folder && folder->starts_with('/') ? Folders{*folder + place} : Folders{};
  };
  return {.claude = named("CLAUDE_CONFIG_DIR", ""),
          .codex = named("CODEX_HOME", ""),
          .gemini = named("GEMINI_CLI_HOME", "/.gemini"),
          .openCode = named("XDG_DATA_HOME", "/opencode")};
}

void addAgentFolders(Directories& directories, const AgentFolders& more) {
  AgentFolders& known = directories.agentFolders;
  add(known.claude, usualClaude, more.claude, directories);
  add(known.codex, usualCodex, more.codex, directories);
  add(known.gemini, usualGemini, more.gemini, directories);
  add(known.openCode, usualOpenCode, more.openCode, directories);
}

}  // namespace vigilo
