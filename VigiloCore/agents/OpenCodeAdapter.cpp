#include "agents/OpenCodeAdapter.h"

#include "agents/HookSnippet.h"

namespace vigilo {
namespace {

// In both, @RELAY@ stands for the relay's path as a string of JavaScript.
constexpr std::string_view plainPlugin = R"js(// Save as ~/.config/opencode/plugins/vigilo.js
import { spawn } from 'node:child_process';

export const VigiloPlugin = {
  name: 'vigilo',
  onSessionStatus(session) {
    try {
      const state = session.status === 'busy' || session.status === 'running' ? 'working' : 'idle';
      const id = session.id || 'opencode-default';
      const child = spawn(@RELAY@, ['--agent', 'opencode', '--state', state, '--session-id', id], {
        detached: true,
        stdio: 'ignore',
      });
      child.on('error', () => {});
      child.unref();
    } catch {
      // OpenCode works on without Vigilo.
    }
  },
};
)js";

constexpr std::string_view currentPlugin = R"js(// Save as @FILE@
import { spawn } from 'node:child_process';

const relay = @RELAY@;
const states = new Map(); // what was last told of each session
const queue = [];
let current; // the relay that runs

// One relay at a time: two at once would arrive in either order, and a session that rests would seem to work.
function tellNext() {
  if (current || queue.length === 0) return;
  const [id, state] = queue.shift();
  const turn = (current = {});
  const done = () => {
    clearTimeout(turn.limit);
    if (current !== turn) return;
    current = undefined;
    tellNext();
  };
  turn.limit = setTimeout(done, 3000);
  turn.limit.unref?.();
  try {
    const child = spawn(relay, ['--agent', 'opencode', '--state', state, '--session-id', id], {
      detached: true,
      stdio: 'ignore',
    });
    child.on('error', done);
    child.on('exit', done);
  } catch {
    done();
  }
}

function stateOf(event) {
  switch (event.type) {
    case 'session.created':
    case 'session.idle':
    case 'session.error': // a turn that failed, or was interrupted, is over
      return 'idle';
    case 'session.status':
      return event.properties.status.type === 'idle' ? 'idle' : 'working';
    case 'permission.asked':
      return 'waiting';
    case 'permission.replied':
      return 'working';
    case 'session.deleted':
      return 'completed';
  }
}

export const VigiloPlugin = async () => ({
  event: async ({ event }) => {
    try {
      const state = stateOf(event);
      const id = event.properties.sessionID ?? event.properties.info?.id;
      if (!state || !id || states.get(id) === state) return;
      if (state === 'completed') states.delete(id);
      else states.set(id, state);
      queue.push([id, state]);
      tellNext();
    } catch {
      // OpenCode works on without Vigilo.
    }
  },
});
)js";

std::string filled(std::string_view text, std::string_view placeholder, const std::string& value) {
  std::string result(text);
  return result.replace(result.find(placeholder), placeholder.size(), value);
}

}  // namespace

OpenCodeAdapter::OpenCodeAdapter(AgentSurroundings surroundings)
    : ConfiguredAgentAdapter(
          {AgentType::opencode, "opencode", "~/.opencode/bin/opencode",
           "~/.config/opencode/plugins/vigilo.js", "Plugin active", "Installed (Plugin not configured)"},
          std::move(surroundings)) {}

std::string OpenCodeAdapter::pluginFile() const {
  return surroundings().folder("XDG_CONFIG_HOME", "/.config") + "/opencode/plugins/vigilo.js";
}

std::vector<ConfiguredAgentAdapter::Source> OpenCodeAdapter::sources() const {
  return {{pluginFile(), relayInPlugin, std::nullopt}};
}

std::string OpenCodeAdapter::plainSnippet(const std::string& relay) const {
  return filled(plainPlugin, "@RELAY@", quotedText(relay));
}

std::optional<std::string> OpenCodeAdapter::manualSetupInstructions() const {
  return "1. Create the plugin directory if it does not exist:\n"
         "   mkdir -p ~/.config/opencode/plugins\n"
         "2. Save the plugin code snippet to ~/.config/opencode/plugins/vigilo.js\n"
         "3. Restart OpenCode to begin receiving lifecycle status events.";
}

CurrentReleaseSetup OpenCodeAdapter::currentSetup(const std::string& relay) const {
  const std::string file = surroundings().shown(pluginFile());
  const std::string folder = file.substr(0, file.rfind('/'));
  return {
      .reason =
          "Current releases of OpenCode load a plug-in only when it is a function, and call it with events.",
      .configPath = file,
      .snippet = filled(filled(currentPlugin, "@FILE@", file), "@RELAY@", quotedText(relay)),
      .instructions =
          "1. Create the plugin directory if it does not exist:\n   mkdir -p " + folder +
          "\n2. Save the plugin code snippet to " + file +
          "\n3. Restart OpenCode. With a plug-in it fetches a package of its own at the first start, "
          "which takes a minute where there is no network."};
}

}  // namespace vigilo
