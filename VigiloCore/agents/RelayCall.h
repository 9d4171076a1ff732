#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agents/AgentModel.h"

namespace vigilo {

// The name by which the relay is found, whatever its path.
inline constexpr std::string_view relayName = "vigilo-relay";

// A place in a configuration that runs the relay, as it is written there.
struct RelayCall {
  std::string relay;                 // its path, or its name alone
  std::optional<std::string> agent;  // what follows "--agent" and "--state", where it can be read off
  std::optional<std::string> state;

  bool operator==(const RelayCall&) const = default;
};

// The calls in a shell's command line. What a shell would fill in ("$HOME/...") cannot be read off. Pure, as
// are the following.
std::vector<RelayCall> relayCallsInCommand(std::string_view commandLine);
// The call that a list of words makes; absent where it makes none.
std::optional<RelayCall> relayCallInWords(std::span<const std::string> words);

// What keeps the calls from telling about the agent, whatever it does: a relay that is not there, a misspelt
// agent or state. For people, of the first that is wrong; absent where nothing is. `isProgram` knows whether
// a relay, as it is written, can be run.
std::optional<std::string> faultInRelayCalls(std::span<const RelayCall> calls, AgentType agent,
                                             const std::function<bool(const std::string& relay)>& isProgram);

}  // namespace vigilo
