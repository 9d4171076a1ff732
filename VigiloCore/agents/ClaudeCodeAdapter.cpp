#include "agents/ClaudeCodeAdapter.h"

#include "agents/HookSnippet.h"

namespace vigilo {
namespace {

constexpr HookState plainHooks[] = {{"UserPromptSubmit", AgentState::working},
                                    {"PreToolExecution", AgentState::working},
                                    {"PostToolExecution", AgentState::working},
                                    {"Stop", AgentState::idle},
                                    {"SessionEnd", AgentState::completed}};
// A failing tool or request has hooks of its own, without which a session would seem to wait or work on.
constexpr HookState currentHooks[] = {
    {"SessionStart", AgentState::idle},   {"UserPromptSubmit", AgentState::working},
    {"PreToolUse", AgentState::working},  {"PermissionRequest", AgentState::waiting},
    {"PostToolUse", AgentState::working}, {"PostToolUseFailure", AgentState::working},
    {"Stop", AgentState::idle},           {"StopFailure", AgentState::idle},
    {"SessionEnd", AgentState::completed}};

// Far too long where it counts as seconds; the relay limits itself, so it never comes to that.
constexpr HookForm plainForm{.agent = AgentType::claude, .timeout = 5000};
constexpr HookForm currentForm{
    .agent = AgentType::claude, .isNested = true, .isGuarded = true, .timeout = 5};  // seconds

}  // namespace

ClaudeCodeAdapter::ClaudeCodeAdapter(AgentSurroundings surroundings)
    : ConfiguredAgentAdapter({AgentType::claude, "claude", "~/.local/bin/claude", "~/.claude.json",
                              "Hook active", "Installed (Hooks not configured)"},
                             std::move(surroundings)) {}

std::string ClaudeCodeAdapter::settingsFile() const {
  return surroundings().folder("CLAUDE_CONFIG_DIR", "/.claude") + "/settings.json";
}

std::vector<ConfiguredAgentAdapter::Source> ClaudeCodeAdapter::sources() const {
  const auto read = [](std::string_view text) { return relayInJsonHooks(text, JsonComments::no); };
  const std::string settings = settingsFile();
  return {{settings, read, std::nullopt},
          {surroundings().home + "/.claude.json", read,
           "Claude Code reads no hooks from this file: they belong in " + surroundings().shown(settings)}};
}

std::string ClaudeCodeAdapter::plainSnippet(const std::string& relay) const {
  return "// Add to the \"hooks\" object in ~/.claude.json:\n" + hooksAsJson(relay, plainForm, plainHooks);
}

std::optional<std::string> ClaudeCodeAdapter::manualSetupInstructions() const {
  return "1. Open ~/.claude.json in your text editor.\n"
         "2. Merge the \"hooks\" JSON snippet into your configuration.\n"
         "3. Save the file. Vigilo will automatically track Claude Code lifecycle events.";
}

CurrentReleaseSetup ClaudeCodeAdapter::currentSetup(const std::string& relay) const {
  const std::string file = surroundings().shown(settingsFile());
  return {
      .reason = "Current releases of Claude Code read hooks from " + file +
                " only, in another form and under other names.",
      .configPath = file,
      .snippet = hooksAsJson(relay, currentForm, currentHooks),
      .instructions =
          "1. Open " + file +
          " in your text editor. Where there is none, the snippet is the whole file.\n"
          "2. Add the snippet's \"hooks\" object; where there is one, add its entries to those that are "
          "there.\n"
          "3. Remove hooks that run vigilo-relay from ~/.claude.json, where they have no effect.\n"
          "4. Save the file and start Claude Code anew: a session keeps the hooks that it started with.\n"
          "Releases before 2.1 drop all hooks when they meet a name that they do not know: there, leave out "
          "\"PermissionRequest\", \"PostToolUseFailure\" and \"StopFailure\"."};
}

}  // namespace vigilo
