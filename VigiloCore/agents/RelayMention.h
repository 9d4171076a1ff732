#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agents/RelayCall.h"

namespace vigilo {

// What the text of a configuration says about the relay.
struct RelayMention {
  bool isMentioned = false;
  std::optional<std::string> problem;  // the text is malformed: where
  std::optional<std::string> caveat;   // the relay stands where the agent's current release does not run it
  std::vector<RelayCall> calls;        // as far as they can be read off

  bool operator==(const RelayMention&) const = default;
};

enum class JsonComments { no, yes };

// A JSON file whose "hooks" value holds commands. Anywhere inside counts; the form that is run has, for each
// event, a list of objects with a list "hooks" of their own. Pure, as are the following.
RelayMention relayInJsonHooks(std::string_view text, JsonComments comments);
// A TOML file with a notification program under "notify" and commands under "hooks".
RelayMention relayInToml(std::string_view text);
// A plug-in's source. Lines that are comments do not count.
RelayMention relayInPlugin(std::string_view text);

}  // namespace vigilo
