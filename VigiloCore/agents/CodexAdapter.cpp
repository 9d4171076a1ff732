#include "agents/CodexAdapter.h"

#include "agents/HookSnippet.h"

namespace vigilo {
namespace {

constexpr HookState currentHooks[] = {
    {"SessionStart", AgentState::idle},   {"UserPromptSubmit", AgentState::working},
    {"PreToolUse", AgentState::working},  {"PermissionRequest", AgentState::waiting},
    {"PostToolUse", AgentState::working}, {"Stop", AgentState::idle},
    {"SessionEnd", AgentState::completed}};

constexpr HookForm currentForm{.agent = AgentType::codex, .isGuarded = true, .timeout = 5};  // seconds
constexpr int endTimeout = 3;  // Codex grants the end of a session no more

}  // namespace

CodexAdapter::CodexAdapter(AgentSurroundings surroundings)
    : ConfiguredAgentAdapter({AgentType::codex, "codex", "/Applications/ChatGPT.app/Contents/Resources/codex",
                              "~/.codex/config.toml", "Hook active", "Installed (Hook not configured)"},
                             std::move(surroundings)) {}

std::string CodexAdapter::configurationFile() const {
  return surroundings().folder("CODEX_HOME", "/.codex") + "/config.toml";
}

std::vector<ConfiguredAgentAdapter::Source> CodexAdapter::sources() const {
  return {{configurationFile(), relayInToml, std::nullopt}};
}

std::string CodexAdapter::plainSnippet(const std::string& relay) const {
  return "# Add to the root level of ~/.codex/config.toml\nnotify = [" + quotedText(relay) +
         ", \"--agent\", \"codex\", \"--state\", \"working\"]";
}

std::optional<std::string> CodexAdapter::manualSetupInstructions() const {
  return "1. Open ~/.codex/config.toml in your text editor.\n"
         "2. At the top (root level, before any [section] headers), add:\n"
         "   notify = [\"vigilo-relay\", \"--agent\", \"codex\", \"--state\", \"working\"]\n"
         "3. Save the file. Vigilo will automatically receive lifecycle events.";
}

CurrentReleaseSetup CodexAdapter::currentSetup(const std::string& relay) const {
  const std::string file = surroundings().shown(configurationFile());
  return {.reason =
              "\"notify\" is called once, at the end of a turn, so that Codex would never count as working; "
              "hooks tell the whole turn.",
          .configPath = file,
          .snippet = hooksAsToml(relay, currentForm, currentHooks, endTimeout),
          .instructions = "1. Open " + file +
                          " in your text editor.\n"
                          "2. Remove a \"notify\" line that runs vigilo-relay: use one or the other.\n"
                          "3. Add the snippet at the end of the file, and save it.\n"
                          "4. Start codex. It asks about new hooks: choose \"Trust all and continue\". Until "
                          "they are trusted they "
                          "do not run; for `codex exec` trust them once in an interactive session."};
}

}  // namespace vigilo
