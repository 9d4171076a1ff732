#include "agents/ProcessClassification.h"

#include <algorithm>
#include <initializer_list>

namespace vigilo {
namespace {

bool contains(std::string_view text, std::string_view word) {
  return text.find(word) != std::string_view::npos;
}

bool containsAny(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(), [text](auto word) { return contains(text, word); });
}

// Tools that name agents, and this system's own programs.
bool isBystander(std::string_view command) {
  return containsAny(command, {"grep ", "ps -axo", "vigilo"});
}

// The desktop application's helper processes.
bool isCodexHelper(std::string_view command) {
  return containsAny(command,
                     {"Codex (Service)", "Codex (Renderer)", "Codex (GPU)", "app-server", "SkyComputerUse",
                      "codex-code-mode-host", "ChatGPT for Chrome", "ChatGPT.app", "plugins/openai-bundled"});
}

bool isCodexAtWork(std::string_view command) {
  return contains(command, "exec") || command.ends_with("/codex") || contains(command, " codex ");
}

bool isOpenCodeAtWork(std::string_view command) {
  if (containsAny(command, {"--port", "serve"})) return false;
  return contains(command, "run") || command.ends_with("/opencode") || contains(command, " opencode ");
}

// The agent is called by its path or by its name, with arguments.
bool calls(std::string_view command, std::string_view slashName, std::string_view nameBlank,
           std::string_view blankNameBlank) {
  return contains(command, slashName) || command.starts_with(nameBlank) || contains(command, blankNameBlank);
}

// Commands that are over at once.
bool isOneShotOfClaude(std::string_view command) {
  return containsAny(command, {"auth login", "install", "--version"});
}

struct Verdict {
  AgentType agent;
  const char* name;
  bool isWorking;
};

std::optional<Verdict> verdictOn(std::string_view command) {
  if (contains(command, "codex")) {
    if (isCodexHelper(command)) return std::nullopt;
    return Verdict{AgentType::codex, "Codex CLI", isCodexAtWork(command)};
  }
  if (contains(command, "opencode")) {
    return Verdict{AgentType::opencode, "OpenCode", isOpenCodeAtWork(command)};
  }
  if (command == "claude" || calls(command, "/claude", "claude ", " claude ")) {
    if (isOneShotOfClaude(command)) return std::nullopt;
    return Verdict{AgentType::claude, "Claude Code", !isBareAgent(command)};
  }
  if (command == "gemini" || calls(command, "/gemini", "gemini ", " gemini ")) {
    if (contains(command, "antigravity")) return std::nullopt;
    return Verdict{AgentType::gemini, "Gemini CLI", !isBareAgent(command)};
  }
  if (contains(command, "aider")) return Verdict{AgentType::aider, "Aider", true};
  return std::nullopt;
}

}  // namespace

bool isBareAgent(std::string_view command) {
  return command == "claude" || command == "gemini";
}

std::optional<ProcessMatch> classifyProcess(const ProcessLine& line) {
  const std::string_view command = line.command;
  // Asking an agent for its version is no session of it.
  if (isBystander(command) || command.ends_with("--version")) return std::nullopt;
  const auto verdict = verdictOn(command);
  if (!verdict) return std::nullopt;
  return ProcessMatch{.agent = verdict->agent,
                      .pid = line.pid,
                      .name = verdict->name,
                      .isRunning = true,
                      .isWorking = verdict->isWorking,
                      .command = line.command};
}

}  // namespace vigilo
