#include "VigiloApp/commands/SetupCheck.h"

#include <cstdio>
#include <utility>

#include "VigiloApp/commands/AgentsReport.h"
#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/TextTable.h"
#include "VigiloApp/control/ControlClient.h"
#include "agents/HookSnippet.h"

namespace vigilo {
namespace {

// What a hook of this agent has told since the moment.
std::optional<HookReport> heardSince(const StatusReport& status, AgentType agent, Date begin) {
  const auto reports = newestHookReports(status.activeSessionsList);
  const auto found = reports.find(agent);
  if (found == reports.end() || found->second.receivedAt < begin) return std::nullopt;
  return found->second;
}

// Tells what came, and gives the exit code.
int tellHeard(const AgentAdapter& adapter, const HookReport& heard) {
  const std::string name = displayName(adapter.agentType());
  if (heard.state == AgentState::unknown) {
    return fail(exitFailure,
                name +
                    " reached Vigilo, but with a state that there is not: `vigilo log` tells the word "
                    "behind --state that is misspelt.");
  }
  std::string text =
      name + " reached Vigilo: it is " + std::string(rawValue(heard.state)) + ", session " + heard.sessionId;
  if (heard.cwd) text += ", in " + *heard.cwd;
  std::printf("%s.\n", printable(text).c_str());
  return exitOk;
}

// From the likeliest cause to what shows where the way is broken.
std::string whatToLookAt(const Directories& directories, const AgentAdapter& adapter,
                         const std::string& relay, double seconds) {
  const std::string name = displayName(adapter.agentType());
  const std::string raw(rawValue(adapter.agentType()));
  const auto findings = adapter.configurations();
  bool isMentioned = false;
  for (const auto& finding : findings) isMentioned = isMentioned || finding.mentionsRelay;
  std::string text = "Nothing came from " + name + " within " + durationText(seconds) + ". Look at these:\n";
  if (const auto fault = configurationFault(findings)) {
    text += "- " + printable(*fault) + ".\n";
  } else if (!isMentioned) {
    text += "- No configuration of " + name + " runs vigilo-relay: `vigilo setup " + raw + "` shows how.\n";
  } else if (adapter.agentType() == AgentType::codex) {
    text +=
        "- Codex runs new or changed hooks only once they are trusted: it asks when it starts in a "
        "terminal.\n";
  }
  text +=
      "- A session keeps the configuration it started with: start " + name + " anew and give it a prompt.\n";
  text += "- Does the relay work? " + shellWord(relay) + " --agent " + raw +
          " --state idle < /dev/null\n  must make a session \"" + raw +
          "-default\" appear in `vigilo status`.\n";
  text += "- " + name + " must run as this user, with the same home folder, and be able to reach\n  " +
          directories.hookSocket() + " (a container or a sandbox is not).";
  return text;
}

}  // namespace

int checkSetup(const Directories& directories, const AgentAdapter& adapter, const std::string& relay,
               std::chrono::seconds time) {
  if (const auto fault = hookFault(adapter.configurations())) return fail(exitFailure, printable(*fault));
  const Date begin = Date::now();
  const double seconds = static_cast<double>(time.count());
  std::optional<HookReport> heard;
  bool begun = false;
  bool strangersCame = false;
  const auto take = [&](const ControlResponse& response) {
    if (!response.status) return true;
    if (!std::exchange(begun, true)) {
      std::printf("Waiting up to %s for an event from %s: give it a prompt now. Ctrl-C ends this.\n",
                  durationText(seconds).c_str(), displayName(adapter.agentType()));
      std::fflush(stdout);
    }
    heard = heardSince(*response.status, adapter.agentType(), begin);
    strangersCame = strangersCame || heardSince(*response.status, AgentType::custom, begin);
    return !heard;
  };
  const bool hostRuns = ControlClient(directories.controlSocket()).follow(take, time);
  if (heard) return tellHeard(adapter, *heard);
  if (!hostRuns) return fail(std::nullopt);
  if (Date::now() - begin + 0.5 < seconds) return fail(exitNoHost, "the host has ended, or does not answer");
  if (strangersCame)
    note(
        "an agent that Vigilo does not know sent events meanwhile: `vigilo log` tells its name. Is it "
        "misspelt?");
  return fail(exitFailure, whatToLookAt(directories, adapter, relay, seconds));
}

}  // namespace vigilo
