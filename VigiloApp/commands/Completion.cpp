#include "VigiloApp/commands/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>
#include <vector>

#include "agents/AgentModel.h"
#include "policy/SettingsStore.h"

namespace vigilo {
namespace {

using Choice = std::pair<std::string, std::string>;  // a word, and what it does
using Choices = std::vector<Choice>;

bool takesValue(const CLI::Option& option) {
  return option.get_items_expected_max() > 0;
}

// The set that a check names in the option's type: "TEXT:{on,off}".
Choices choicesOfType(const std::string& type) {
  Choices result;
  const auto begin = type.find('{');
  const auto end = type.find('}', begin);
  if (begin == std::string::npos || end == std::string::npos) return result;
  for (const auto& word : CLI::detail::split(type.substr(begin + 1, end - begin - 1), ','))
    result.emplace_back(word, "");
  return result;
}

// What fits in the place of a value: its name tells where no check does.
Choices choicesFor(const CLI::Option& option) {
  const std::string name = option.get_name(option.get_positional());
  Choices result = choicesOfType(option.get_type_name());
  if (!result.empty()) return result;
  if (name == "KEY")
    for (const Setting& setting : SettingsStore::table()) result.emplace_back(setting.name, setting.meaning);
  if (name == "AGENT")
    for (const auto& [type, word] : RawValues<AgentType>::table)
      if (type != AgentType::custom) result.emplace_back(word, "");
  if (name == "FILE" || name == "PATH" || name == "--relay") result.emplace_back(":files", "");
  return result;
}

const CLI::Option* optionNamed(const CLI::App& command, const std::string& word) {
  for (const CLI::Option* option : command.get_options())
    if (option->nonpositional() && option->check_name(word)) return option;
  return command.get_fallthrough() && command.get_parent() != nullptr
             ? optionNamed(*command.get_parent(), word)
             : nullptr;
}

const CLI::Option* positional(const CLI::App& command, std::size_t index) {
  for (const CLI::Option* option : command.get_options())
    if (option->get_positional() && index-- == 0) return option;
  return nullptr;
}

const CLI::App* subcommandNamed(const CLI::App& command, std::string_view word) {
  for (const CLI::App* each : command.get_subcommands([](const CLI::App*) { return true; }))
    if (each->get_name() == word) return each;
  return nullptr;
}

void addOptions(const CLI::App& command, Choices& choices) {
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_group().empty()) continue;
    for (const auto& name : option->get_lnames()) {
      Choice choice("--" + name, option->get_description());
      if (std::find(choices.begin(), choices.end(), choice) == choices.end()) choices.push_back(choice);
    }
  }
  if (command.get_fallthrough() && command.get_parent() != nullptr)
    addOptions(*command.get_parent(), choices);
}

// Where on the command line the word at the cursor stands.
struct Place {
  const CLI::App* command;
  const CLI::Option* optionBefore = nullptr;  // one that waits for its value
  std::size_t positionals = 0;                // how many have been given
};

Place placeAfter(const CLI::App& commands, std::span<const std::string_view> words) {
  Place place{&commands};
  for (const std::string_view word : words) {
    if (std::exchange(place.optionBefore, nullptr) != nullptr) continue;
    if (word.starts_with('-')) {
      const CLI::Option* option = optionNamed(*place.command, std::string(word));
      if (option != nullptr && takesValue(*option)) place.optionBefore = option;
    } else if (const CLI::App* command = subcommandNamed(*place.command, word)) {
      place = {command};
    } else {
      ++place.positionals;
    }
  }
  return place;
}

Choices choicesAt(const Place& place, std::string_view word) {
  if (place.optionBefore != nullptr) return choicesFor(*place.optionBefore);
  Choices choices;
  if (word.starts_with('-')) {
    addOptions(*place.command, choices);
    return choices;
  }
  if (const CLI::Option* option = positional(*place.command, place.positionals))
    choices = choicesFor(*option);
  if (place.positionals > 0) return choices;
  for (const CLI::App* each : place.command->get_subcommands([](const CLI::App*) { return true; }))
    if (!each->get_group().empty()) choices.emplace_back(each->get_name(), each->get_description());
  return choices;
}

}  // namespace

std::string completions(const CLI::App& commands, std::span<const std::string_view> words) {
  if (words.empty()) return "";
  const std::string_view word = words.back();
  std::string lines;
  for (const auto& [choice, meaning] : choicesAt(placeAfter(commands, words.first(words.size() - 1)), word)) {
    if (choice != ":files" && !choice.starts_with(word)) continue;
    lines += meaning.empty() ? choice + "\n" : choice + "\t" + meaning + "\n";
  }
  return lines;
}

}  // namespace vigilo
