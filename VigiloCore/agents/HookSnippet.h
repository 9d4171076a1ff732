#pragma once

#include <span>
#include <string>
#include <string_view>

#include "agents/AgentModel.h"

namespace vigilo {

// One of an agent's hooks and the state that it means.
struct HookState {
  const char* hook;
  AgentState state;
};

// How the hooks of one agent are written.
struct HookForm {
  AgentType agent{};
  bool isNested = false;   // each entry is an object with a list "hooks" of its own
  bool isGuarded = false;  // the relay's path is quoted for a shell, and a failure is nobody's concern
  int timeout = 0;         // in the agent's own unit
};

// Text as a JSON string, which is a string of TOML and of JavaScript as well.
std::string quotedText(std::string_view text);
// Text as one word of a shell's command line.
std::string shellWord(std::string_view text);

// The command line that runs the relay. Unless guarded, the path stands as it is.
std::string relayCommand(std::string_view relay, const HookForm& form, AgentState state);

// A JSON object with the one key "hooks", a line for each hook.
std::string hooksAsJson(std::string_view relay, const HookForm& form, std::span<const HookState> hooks);
// The same as TOML tables; `endTimeout` is the limit of "SessionEnd".
std::string hooksAsToml(std::string_view relay, const HookForm& form, std::span<const HookState> hooks,
                        int endTimeout);

}  // namespace vigilo
