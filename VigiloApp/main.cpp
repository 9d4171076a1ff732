#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VigiloApp/commands/AgentsCommand.h"
#include "VigiloApp/commands/CommandLineError.h"
#include "VigiloApp/commands/Completion.h"
#include "VigiloApp/commands/DiagnosticsCommand.h"
#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/HelperCommands.h"
#include "VigiloApp/commands/LogCommand.h"
#include "VigiloApp/commands/LoginCommands.h"
#include "VigiloApp/commands/OverviewCommand.h"
#include "VigiloApp/commands/SettingsCommands.h"
#include "VigiloApp/commands/SetupCommand.h"
#include "VigiloApp/commands/StatusCommand.h"
#include "VigiloApp/commands/UsageCommands.h"
#include "VigiloApp/control/ControlProtocol.h"
#include "VigiloApp/host/Host.h"
#include "VigiloApp/top/TopCommand.h"
#include "platform/Directories.h"
#include "platform/SystemSounds.h"
#include "support/RecordCoder.h"

namespace {

using namespace vigilo;

constexpr const char* exitCodes =
    "Exit codes:\n"
    "   0  done\n"
    "   1  not done; the message says why\n"
    "   3  no host runs: what was to steer it takes effect when one does; of \"helper\": no helper answers\n"
    "  64  a wrong command line or value\n"
    "  69  not to be had: a host that does not answer or is another version, an unreadable usage store\n"
    "  75  a host runs already\n"
    "  77  not permitted\n"
    "  78  the settings file cannot be read; nobody rewrites it then";

// Prints what a command on the settings has to say, and gives its exit code.
int report(const ControlResponse& response) {
  for (const auto& problem : response.settingsProblems.value_or(std::vector<std::string>{}))
    note("in the settings file: " + problem);
  if (response.exitCode != exitOk) return fail(response);
  if (response.message) std::printf("%s\n", response.message->c_str());
  return exitOk;
}

int set(const Directories& directories, const std::string& key, const std::string& value) {
  return report(
      settingsCommand(directories, {.command = ControlCommand::setSetting, .key = key, .value = value}));
}

int steer(const Directories& directories, const char* key, bool value) {
  return report(steeringCommand(
      directories, {.command = ControlCommand::setSetting, .key = key, .value = value ? "true" : "false"}));
}

int pause(const Directories& directories, const std::string& text) {
  const auto seconds = parseDuration(text);
  if (!seconds) {
    return fail(exitUsage, "\"" + text +
                               "\" is not a duration. Write one such as 90s, 30m or 1h30m: one second to 30 "
                               "days.");
  }
  return report(steeringCommand(directories, {.command = ControlCommand::pause, .seconds = seconds}));
}

int pauseStatus(const Directories& directories, bool json) {
  const ControlResponse response =
      settingsCommand(directories, {.command = ControlCommand::listSettings, .key = "pauseUntil"});
  if (!response.settings || response.settings->empty()) return report(response);
  const Date now = Date::now();
  const auto pause = PauseReport::of(response.settings->front().value, now);
  std::fputs((json ? encodeRecord(pause, exportForm) + "\n" : pauseText(pause, now)).c_str(), stdout);
  return report(response);
}

int listSettings(const Directories& directories, bool json) {
  const ControlResponse response = settingsCommand(directories, {.command = ControlCommand::listSettings});
  if (!response.settings) return report(response);
  const auto& entries = *response.settings;
  std::fputs((json ? encodeRecord(entries, exportForm) + "\n" : settingsTable(entries)).c_str(), stdout);
  return report(response);
}

int getSetting(const Directories& directories, const std::string& key, bool json) {
  const ControlResponse response =
      settingsCommand(directories, {.command = ControlCommand::listSettings, .key = key});
  if (!response.settings || response.settings->empty()) return report(response);
  const auto& entry = response.settings->front();
  std::printf("%s\n", json ? encodeRecord(entry, exportForm).c_str() : entry.value.c_str());
  return report(response);
}

}  // namespace

int main(int argc, char** argv) {
  const Directories directories = Directories::ofCurrentUser();
  int exitCode = exitOk;
  CLI::App app{"Keeps this machine awake while coding agents work, and lets it sleep when they are done.",
               "vigilo"};
  app.set_version_flag("--version", std::string("vigilo " VIGILO_VERSION));
  app.require_subcommand(0, 1);
  app.footer(exitCodes);

  HostOptions hostOptions;
  auto* run = app.add_subcommand("run", "Run the host in the foreground until Ctrl-C");
  run->add_flag("-v,--verbose", hostOptions.verbose,
                "Show every line of the log, received events too, not decisions and errors only");
  run->callback([&] { exitCode = runHost(directories, hostOptions); });

  StatusOptions statusOptions;
  auto* status = app.add_subcommand("status", "Tell what is held, why, since when, and what would end it");
  status->add_flag("--json", statusOptions.json, "Print one JSON object (with --follow: one a line)");
  status->add_flag("--follow", statusOptions.follow, "Go on, and tell each change");
  status->callback([&] { exitCode = statusCommand(directories, statusOptions); });

  app.add_subcommand("top", "Show it live in the terminal")->callback([&] {
    exitCode = topCommand(directories);
  });
  bool logAsJson = false;
  auto* log = app.add_subcommand("log", "Tell what happened lately in the host");
  log->add_flag("--json", logAsJson, "Print JSON");
  log->callback([&] { exitCode = logCommand(directories, logAsJson); });

  app.add_subcommand("enable", "Turn protection on")->callback([&] {
    exitCode = steer(directories, "masterEnabled", true);
  });
  app.add_subcommand("disable", "Turn protection off until it is enabled again")->callback([&] {
    exitCode = steer(directories, "masterEnabled", false);
  });

  std::optional<std::string> duration;
  bool pauseAsJson = false;
  auto* pauseCommand = app.add_subcommand("pause", "Let the machine sleep for a while, whatever agents do");
  auto* durationOption = pauseCommand->add_option("DURATION", duration,
                                                  "90s, 30m, 1h30m; without it: tell whether it is paused");
  pauseCommand->add_flag("--json", pauseAsJson, "Tell it as one JSON object")->excludes(durationOption);
  pauseCommand->callback(
      [&] { exitCode = duration ? pause(directories, *duration) : pauseStatus(directories, pauseAsJson); });
  app.add_subcommand("resume", "End a pause")->callback([&] {
    exitCode = report(steeringCommand(directories, {.command = ControlCommand::resume}));
  });

  std::string onOrOff;
  auto* hold = app.add_subcommand("hold", "Hold the machine awake with or without agents");
  hold->add_option("on|off", onOrOff)->required()->check(onOrOffOnly());
  hold->callback([&] { exitCode = steer(directories, "manualHoldEnabled", onOrOff == "on"); });

  std::string key;
  std::string value;
  auto* settings = app.add_subcommand("settings", "List the settings, or read and change them");
  bool settingsAsJson = false;
  settings->require_subcommand(0, 1);
  settings->add_flag("--json", settingsAsJson, "Print JSON");
  auto* get = settings->add_subcommand("get", "Print one setting's value");
  get->add_option("KEY", key)->required();
  get->add_flag("--json", settingsAsJson, "Print one JSON object");
  get->callback([&] { exitCode = getSetting(directories, key, settingsAsJson); });
  auto* setCommand = settings->add_subcommand("set", "Change one setting");
  setCommand->add_option("KEY", key)->required();
  setCommand->add_option("VALUE", value)->required();
  setCommand->callback([&] { exitCode = set(directories, key, value); });
  std::optional<std::string> keyToReset;
  auto* reset = settings->add_subcommand("reset", "Set one setting, or every one, to its default");
  reset->add_option("KEY", keyToReset, "Which one; all but launchAtLogin without it");
  reset->callback([&] {
    exitCode =
        report(settingsCommand(directories, {.command = ControlCommand::resetSettings, .key = keyToReset}));
  });
  settings->callback([&] {
    if (settings->get_subcommands().empty()) exitCode = listSettings(directories, settingsAsJson);
  });

  UsageOptions usageOptions;
  long long sessionLimit = 25;
  std::optional<std::string> exportFile;
  bool yes = false;
  auto* usage = app.add_subcommand("usage", "Tell what the agents used: tokens, costs, sessions and turns");
  usage->require_subcommand(0, 1);
  usage->add_option("--from", usageOptions.from, "A day such as 2026-11-21, or a moment");
  usage->add_option("--to", usageOptions.to, "The same; a day counts to its end");
  usage->add_flag("--json", usageOptions.json, "Print JSON");
  usage->fallthrough();
  usage->add_subcommand("today", "Today's usage, as without a word");
  auto* sessions = usage->add_subcommand("sessions", "The most recently active sessions");
  sessions->add_option("--limit", sessionLimit, "How many")->check(CLI::Range(1LL, 1000000LL));
  auto* exportUsage =
      usage->add_subcommand("export", "The records without prompts, paths or contents, as JSON");
  exportUsage->add_option("FILE", exportFile, "Where to; standard output without it");
  auto* resetUsage = usage->add_subcommand("reset", "Forget all recorded usage");
  resetUsage->add_flag("--yes", yes, "Do not ask");
  usage->callback([&] {
    if (sessions->parsed())
      exitCode = usageSessionsCommand(directories, sessionLimit, usageOptions.json);
    else if (exportUsage->parsed())
      exitCode = usageExportCommand(directories, exportFile);
    else if (resetUsage->parsed())
      exitCode = usageResetCommand(directories, yes);
    else
      exitCode = usageCommand(directories, usageOptions);
  });
  bool budgetsAsJson = false;
  auto* budgets = app.add_subcommand("budgets", "Tell each agent's context, quota and cost");
  budgets->add_flag("--json", budgetsAsJson, "Print JSON");
  budgets->callback([&] { exitCode = budgetsCommand(directories, budgetsAsJson); });

  bool agentsAsJson = false;
  auto* agents =
      app.add_subcommand("agents", "Tell which agents are installed and whether they reach Vigilo");
  agents->add_flag("--json", agentsAsJson, "Print JSON");
  agents->callback([&] { exitCode = agentsCommand(directories, agentsAsJson); });

  SetupOptions setupOptions;
  auto* setup = app.add_subcommand("setup", "Show how to make an agent's hooks tell Vigilo what it is doing");
  setup->add_option("AGENT", setupOptions.agent, "claude, codex, gemini, opencode, ...")->required();
  setup->add_option("--relay", setupOptions.relay,
                    "The relay's path; the one beside this program without it");
  auto* setupAsJson = setup->add_flag("--json", setupOptions.json, "Print JSON");
  auto* check = setup->add_flag("--check", setupOptions.check,
                                "Wait for an event from the agent: exit 0 when one came, 1 when none did");
  check->excludes(setupAsJson);
  setup->add_option("--wait", setupOptions.wait, "How long to wait: 90s, 2m; a minute without it")
      ->needs(check);
  setup->callback([&] { exitCode = setupCommand(directories, setupOptions); });

  auto* login = app.add_subcommand("login", "Start the host when you log in");
  login->require_subcommand(1);
  login->add_subcommand("on", "Register it with the session's login items")->callback([&] {
    exitCode = loginSwitchCommand(directories, true);
  });
  login->add_subcommand("off", "Take it off again, however it was put on")->callback([&] {
    exitCode = loginSwitchCommand(directories, false);
  });
  bool loginAsJson = false;
  auto* loginStatus = login->add_subcommand("status", "Tell what is registered");
  loginStatus->add_flag("--json", loginAsJson, "Print one JSON object");
  loginStatus->callback([&] { exitCode = loginStatusCommand(directories, loginAsJson); });

  std::optional<std::string> diagnosticsFile;
  auto* diagnostics = app.add_subcommand(
      "diagnostics", "One JSON report of everything that decides whether the machine is kept awake");
  diagnostics->add_option("FILE", diagnosticsFile, "Where to; standard output without it");
  diagnostics->callback([&] { exitCode = diagnosticsCommand(directories, diagnosticsFile); });

  bool helperAsJson = false;
  auto* helper = app.add_subcommand("helper", "Speak to the helper daemon directly");
  helper->require_subcommand(1);
  auto* helperStatus = helper->add_subcommand(
      "status", "Tell whether a helper is installed and answers, what it holds, and what to do when not");
  helperStatus->add_flag("--json", helperAsJson, "Print one JSON object");
  helperStatus->callback([&] { exitCode = helperStatusCommand(directories, helperAsJson); });
  helper->add_subcommand("uninstall", "Make the helper give its hold back, whoever asked for it")
      ->callback([&] { exitCode = helperUninstallCommand(directories); });

  std::string soundEvent;
  auto* playSound = app.add_subcommand(soundPlayerArgument, "What the host starts for a sound")->group("");
  playSound->add_option("EVENT", soundEvent)->required();
  playSound->callback([&] { exitCode = runSoundPlayer(soundEvent); });

  if (argc > 1 && argv[1] == std::string_view("--complete")) {
    const std::vector<std::string_view> words(argv + 2, argv + argc);
    std::fputs(completions(app, words).c_str(), stdout);
    return exitOk;
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return commandLineError(app, error);
  }
  if (app.get_subcommands().empty()) return overviewCommand(directories);
  return exitCode;
}
