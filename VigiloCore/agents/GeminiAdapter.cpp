#include "agents/GeminiAdapter.h"

#include "agents/HookSnippet.h"

namespace vigilo {
namespace {

constexpr HookState plainHooks[] = {
    {"BeforeAgent", AgentState::working},  {"AfterAgent", AgentState::idle},
    {"BeforeTool", AgentState::working},   {"AfterTool", AgentState::working},
    {"SessionStart", AgentState::working}, {"SessionEnd", AgentState::completed}};
// A session starts at its prompt. A notification is a question whether a tool may run.
constexpr HookState currentHooks[] = {
    {"SessionStart", AgentState::idle},   {"BeforeAgent", AgentState::working},
    {"BeforeTool", AgentState::working},  {"Notification", AgentState::waiting},
    {"AfterTool", AgentState::working},   {"AfterAgent", AgentState::idle},
    {"SessionEnd", AgentState::completed}};

// Milliseconds. A hook that fails keeps Gemini from answering: the guard matters here most.
constexpr HookForm plainForm{.agent = AgentType::gemini, .isNested = true, .timeout = 10000};
constexpr HookForm currentForm{
    .agent = AgentType::gemini, .isNested = true, .isGuarded = true, .timeout = 10000};

}  // namespace

GeminiAdapter::GeminiAdapter(AgentSurroundings surroundings)
    : ConfiguredAgentAdapter({AgentType::gemini, "gemini", "/opt/homebrew/bin/gemini",
                              "~/.gemini/settings.json", "Hook active", "Installed (Hooks not configured)"},
                             std::move(surroundings)) {}

std::string GeminiAdapter::settingsFile() const {
  return surroundings().folder("GEMINI_CLI_HOME", "") + "/.gemini/settings.json";
}

std::vector<ConfiguredAgentAdapter::Source> GeminiAdapter::sources() const {
  const auto read = [](std::string_view text) { return relayInJsonHooks(text, JsonComments::yes); };
  return {{settingsFile(), read, std::nullopt}};
}

std::string GeminiAdapter::plainSnippet(const std::string& relay) const {
  return "// Add to the \"hooks\" object in ~/.gemini/settings.json:\n" +
         hooksAsJson(relay, plainForm, plainHooks);
}

std::optional<std::string> GeminiAdapter::manualSetupInstructions() const {
  return "1. Open ~/.gemini/settings.json in your text editor.\n"
         "2. Add the \"hooks\" configuration snippet.\n"
         "3. Save the file. Vigilo will automatically track Gemini CLI events.";
}

CurrentReleaseSetup GeminiAdapter::currentSetup(const std::string& relay) const {
  const std::string file = surroundings().shown(settingsFile());
  return {
      .reason =
          "The plain form counts an open prompt as work, never tells that Gemini CLI waits for you, and a "
          "relay that is missing would block every prompt.",
      .configPath = file,
      .snippet = hooksAsJson(relay, currentForm, currentHooks),
      .instructions = "1. Open " + file +
                      " in your text editor. Where there is none, the snippet is the whole file.\n"
                      "2. Add the snippet's \"hooks\" object; where there is one, add its entries to those "
                      "that are there, "
                      "and remove others that run vigilo-relay.\n"
                      "3. Save the file and start Gemini CLI anew.\n"
                      "Before you uninstall Vigilo, remove these hooks: a hook of the plain form whose relay "
                      "is gone makes "
                      "Gemini CLI refuse every prompt."};
}

}  // namespace vigilo
