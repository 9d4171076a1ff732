#include "VigiloApp/commands/CommandLineError.h"

#include <array>
#include <string>
#include <vector>

#include "VigiloApp/commands/Failure.h"
#include "support/NearestWord.h"

namespace vigilo {
namespace {

// The command that the line had come to.
const CLI::App& lastNamed(const CLI::App& command) {
  const auto named = command.get_subcommands();
  return named.empty() ? command : lastNamed(*named.back());
}

// As it is typed: "vigilo settings".
std::string lineOf(const CLI::App& command) {
  return command.get_parent() == nullptr ? command.get_name()
                                         : lineOf(*command.get_parent()) + " " + command.get_name();
}

// The commands below a command, and its options.
std::vector<std::string> wordsOf(const CLI::App& command) {
  std::vector<std::string> words;
  for (const CLI::App* each : command.get_subcommands([](const CLI::App*) { return true; }))
    if (!each->get_group().empty()) words.push_back(each->get_name());
  for (const CLI::Option* option : command.get_options())
    for (const auto& name : option->get_lnames()) words.push_back("--" + name);
  if (command.get_fallthrough() && command.get_parent() != nullptr) {
    const auto above = wordsOf(*command.get_parent());
    words.insert(words.end(), above.begin(), above.end());
  }
  return words;
}

std::string unexpected(const CLI::App& command, const std::string& word) {
  const auto words = wordsOf(command);
  const std::vector<std::string_view> views(words.begin(), words.end());
  const std::string what = command.get_parent() == nullptr && !word.starts_with('-')
                               ? "there is no command \"" + word + "\"."
                               : "`" + lineOf(command) + "` takes no \"" + word + "\".";
  return what + didYouMean(word, views);
}

}  // namespace

int commandLineError(const CLI::App& commands, const CLI::ParseError& error) {
  // What the library calls it is its own affair: all but help and version are a usage error.
  if (error.get_exit_code() == 0) return commands.exit(error), exitOk;
  const CLI::App& command = lastNamed(commands);
  const auto left = commands.remaining(true);
  const bool isUnexpected = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr && !left.empty();
  return fail(exitUsage, (isUnexpected ? unexpected(command, left.front()) : std::string(error.what())) +
                             " `" + lineOf(command) + " --help` tells what there is.");
}

CLI::Validator onOrOffOnly() {
  const auto check = [](const std::string& word) {
    constexpr std::array<std::string_view, 2> words{"on", "off"};
    if (word == words[0] || word == words[1]) return std::string();
    return "it takes on or off, not \"" + word + "\"." + didYouMean(word, words);
  };
  return {check, "{on,off}", "onOrOff"};
}

}  // namespace vigilo
