#include "VigiloApp/commands/SettingsCommands.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/control/ControlClient.h"
#include "VigiloApp/host/InstanceLock.h"
#include "helper/VigiloWritePolicy.h"
#include "support/AsioQueue.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr int lockPatienceMs = 3000;
// How often a command tries again while a host is just starting or ending.
constexpr int attempts = 20;
constexpr auto attemptInterval = 100ms;

ControlResponse answer(int exitCode, std::string message) {
  ControlResponse response;
  response.exitCode = exitCode;
  if (!message.empty()) response.message = std::move(message);
  return response;
}

ControlResponse list(const ControlRequest& request, const SettingsStore& settings) {
  ControlResponse response;
  response.settings.emplace();
  if (request.key) {
    const auto value = settings.text(*request.key);
    if (!value) return answer(exitUsage, value.error().description);
  }
  for (const Setting& setting : SettingsStore::table()) {
    if (request.key && *request.key != setting.name) continue;
    const auto value = settings.text(setting.name);
    response.settings->push_back({setting.name, value ? *value : "", SettingsStore::defaultText(setting),
                                  setting.allowed, setting.meaning});
  }
  if (auto problems = settings.problems(request.key); !problems.empty())
    response.settingsProblems = std::move(problems);
  return response;
}

ControlResponse set(const ControlRequest& request, SettingsStore& settings, LaunchAtLoginController& login) {
  // The setting mirrors the registration.
  const bool registers =
      request.key == "launchAtLogin" && (request.value == "true" || request.value == "false");
  if (const auto error = registers ? login.update(request.value == "true") : std::nullopt)
    return answer(exitFailure, "launchAtLogin stays as it is. " + error->description);
  const auto value = settings.setText(request.key.value_or(""), request.value.value_or(""));
  if (!value) return answer(exitUsage, value.error().description);
  return answer(exitOk, *request.key + " = " + *value);
}

ControlResponse reset(const ControlRequest& request, SettingsStore& settings,
                      LaunchAtLoginController& login) {
  if (!request.key) {
    settings.resetToDefaults();
    return answer(exitOk, "every setting is at its default, but for launchAtLogin");
  }
  ControlRequest toDefault = request;
  for (const Setting& setting : SettingsStore::table()) {
    if (setting.name == *request.key) toDefault.value = SettingsStore::defaultText(setting);
  }
  return set(toDefault, settings, login);
}

ControlResponse pause(const ControlRequest& request, SettingsStore& settings) {
  if (!request.seconds || !(*request.seconds > 0 && *request.seconds <= longestPauseSeconds)) {
    return answer(exitUsage, "a pause lasts at most 30 days");
  }
  settings.pause(*request.seconds);
  const auto until = settings.pauseUntil();
  return answer(exitOk, "paused for " + durationText(*request.seconds) +
                            (until ? ", until " + localMoment(*until, Date::now()) : ""));
}

ControlResponse change(const ControlRequest& request, SettingsStore& settings,
                       LaunchAtLoginController& login) {
  switch (request.command) {
    case ControlCommand::setSetting:
      return set(request, settings, login);
    case ControlCommand::pause:
      return pause(request, settings);
    case ControlCommand::resume:
      settings.resume();
      return answer(exitOk, "the pause has ended");
    case ControlCommand::resetSettings:
      return reset(request, settings, login);
    default:
      return answer(exitUsage, "not a command on settings");
  }
}

// What became of a command, and whether a host carried it out.
struct Outcome {
  ControlResponse response;
  bool byHost = true;
};

// On the file, with the lock held for as long as it takes.
ControlResponse withoutHost(const Directories& directories, const ControlRequest& request) {
  const auto queue = AsioQueue::withThread("com.vigilo.settings");
  const auto defaults = makeUserDefaults(directories, VigiloWritePolicy::gate(directories), *queue);
  SettingsStore settings(*defaults);
  const auto item = makeLoginItem(directories);
  LaunchAtLoginController login(*item);
  return carryOut(request, settings, *defaults, login);
}

Outcome outcome(const Directories& directories, const ControlRequest& request) {
  const ControlClient client(directories.controlSocket());
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (auto response = client.request(request)) return {*std::move(response)};
    auto lock = InstanceLock::take(directories.instanceLock(), InstanceLock::Role::command, lockPatienceMs);
    if (lock.lock) return {withoutHost(directories, request), false};
    if (lock.error) return {answer(exitNoPermission, lock.error->description), false};
    // A host that does not listen yet, or not any more.
    std::this_thread::sleep_for(attemptInterval);
  }
  return {answer(exitUnavailable, "a host holds the settings but does not answer. End it and try again."),
          false};
}

}  // namespace

ControlResponse carryOut(const ControlRequest& request, SettingsStore& settings, UserDefaults& defaults,
                         LaunchAtLoginController& login) {
  ControlResponse response = request.command == ControlCommand::listSettings
                                 ? list(request, settings)
                                 : change(request, settings, login);
  if (response.exitCode != exitOk) return response;
  if (const auto error = defaults.synchronize()) {
    response.exitCode = exitBadSettingsFile;
    response.message = "the settings file cannot be used: " + error->description +
                       ". Correct it or move it away; Vigilo does not rewrite it.";
  }
  return response;
}

ControlResponse settingsCommand(const Directories& directories, const ControlRequest& request) {
  return outcome(directories, request).response;
}

ControlResponse steeringCommand(const Directories& directories, const ControlRequest& request) {
  auto [response, byHost] = outcome(directories, request);
  if (byHost || response.exitCode != exitOk) return response;
  return answer(exitNoHost, response.message.value_or("") +
                                ": written down, but no host runs, so nothing is held. It takes effect when "
                                "one does: start one with `vigilo run`.");
}

PauseReport PauseReport::of(const std::string& value, Date now) {
  const auto until = Date::fromIso8601(value);
  if (!until || *until <= now) return {};
  return {true, until};
}

std::string pauseText(const PauseReport& report, Date now) {
  if (!report.isPaused) return "Protection is not paused.\n";
  return "Protection is paused until " + localMoment(*report.pauseUntil, now) + " (" +
         durationText(*report.pauseUntil - now) + "). `vigilo resume` ends it.\n";
}

std::string settingsTable(const std::vector<SettingEntry>& entries) {
  std::size_t keyWidth = 0;
  std::size_t valueWidth = 0;
  for (const auto& entry : entries) {
    keyWidth = std::max(keyWidth, entry.key.size());
    valueWidth = std::max(valueWidth, entry.value.size());
  }
  const auto pad = [](std::string text, std::size_t width) {
    text.append(std::max(width, text.size()) - text.size(), ' ');
    return text;
  };
  std::string table;
  for (const auto& entry : entries) {
    const bool differs = entry.value != entry.defaultValue;
    table += (differs ? "* " : "  ") + pad(entry.key, keyWidth) + "  " + pad(entry.value, valueWidth) +
             "  (" + (differs ? "default " + entry.defaultValue + "; " : "") + entry.allowed + ")\n" +
             std::string(keyWidth + 4, ' ') + entry.meaning + "\n";
  }
  return table;
}

}  // namespace vigilo
