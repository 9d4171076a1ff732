#include "VigiloApp/commands/SetupCommand.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "VigiloApp/commands/AgentsCommand.h"
#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/SetupCheck.h"
#include "VigiloApp/commands/SetupText.h"
#include "VigiloApp/control/ControlProtocol.h"
#include "agents/HookEvent.h"
#include "agents/RelayMention.h"
#include "platform/ExecutablePath.h"
#include "support/NearestWord.h"
#include "support/RecordCoder.h"
#include "support/Utf8.h"

namespace vigilo {
namespace {

constexpr double longestWaitSeconds = 3600;

std::string knownAgents(const AgentRegistry& registry) {
  std::string names;
  for (const auto& adapter : registry.allAdapters())
    names += (names.empty() ? "" : ", ") + std::string(rawValue(adapter->agentType()));
  return names;
}

bool isExecutable(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(path, ignored) && ::access(path.c_str(), X_OK) == 0;
}

// What stands in the way of a path in a configuration of any kind.
bool isWritable(const std::string& path) {
  for (const char byte : path) {
    if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F) return false;
  }
  return isUtf8(path);
}

// The path that the agent is to run, absolute because hooks run in any folder; empty without a relay beside
// this program.
std::string relayPath(const SetupOptions& options) {
  namespace fs = std::filesystem;
  if (options.relay) return fs::absolute(*options.relay).lexically_normal().string();
  const auto self = executablePath();
  if (!self) return "";
  std::string path = (fs::path(*self).parent_path() / relayName).string();
  return isExecutable(path) ? path : "";
}

}  // namespace

int setupCommand(const Directories& directories, const SetupOptions& options) {
  const AgentRegistry& registry = installAgentRegistry(directories);
  const auto agent = fromRawValue<AgentType>(options.agent);
  const auto adapter = agent ? registry.adapter(*agent) : nullptr;
  if (!adapter) {
    return fail(exitUsage, "\"" + options.agent + "\" is no agent that Vigilo knows." +
                               didYouMean(options.agent, agentNames) + " It knows " + knownAgents(registry) +
                               ".");
  }
  const bool hasHooks = adapter->targetConfigPath().has_value();
  if (options.check && !hasHooks) {
    return fail(exitUsage,
                std::string(displayName(*agent)) + " sends no events: it is watched as a process.");
  }
  const std::string relay = relayPath(options);
  if (hasHooks && relay.empty()) {
    return fail(exitFailure, "there is no vigilo-relay beside this program: name it with --relay PATH.");
  }
  if (!isWritable(relay)) return fail(exitUsage, "the relay's path cannot be written into a configuration.");
  if (hasHooks && !isExecutable(relay)) note("note that " + relay + " is not a program yet.");
  if (options.check) {
    const auto seconds = parseDuration(options.wait);
    if (!seconds || *seconds > longestWaitSeconds)
      return fail(exitUsage, "\"" + options.wait +
                                 "\" is no time to wait. Write one such as 90s or 2m: at most an hour.");
    return checkSetup(directories, *adapter, relay, std::chrono::seconds(static_cast<long long>(*seconds)));
  }
  const SetupReport report = setupReport(*adapter, relay);
  std::fputs((options.json ? encodeRecord(report, exportForm) + "\n" : setupText(report)).c_str(), stdout);
  return exitOk;
}

}  // namespace vigilo
