#include "agents/RelayMention.h"

#include <algorithm>
#include <iterator>

#include "support/RecordCoding.h"
#include "support/TomlParsing.h"

namespace vigilo {
namespace {

bool names(std::string_view text) {
  return text.find(relayName) != std::string_view::npos;
}

// Lines and columns as editors count them, in bytes.
std::string position(std::string_view text, std::size_t byte) {
  const std::string_view before = text.substr(0, byte == 0 ? 0 : byte - 1);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const auto lineBegin = before.rfind('\n');
  const auto column = lineBegin == std::string_view::npos ? before.size() + 1 : before.size() - lineBegin;
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// Adds the call that a list of words makes, or those of each of its command lines.
void addCalls(const std::vector<std::string>& texts, std::vector<RelayCall>& calls) {
  if (auto call = relayCallInWords(texts)) calls.push_back(*std::move(call));
  for (const std::string& text : texts) {
    auto more = relayCallsInCommand(text);
    std::ranges::move(more, std::back_inserter(calls));
  }
}

// --- JSON ---

void collectCalls(const Json& node, std::vector<RelayCall>& calls) {
  std::vector<std::string> texts;
  if (node.is_string()) texts.push_back(node.get<std::string>());
  if (!node.is_structured()) return addCalls(texts, calls);
  for (const Json& each : node) {
    if (each.is_string())
      texts.push_back(each.get<std::string>());
    else
      collectCalls(each, calls);
  }
  addCalls(texts, calls);
}

bool hasNestedRelay(const Json& hooks) {
  if (!hooks.is_object()) return false;
  for (const auto& event : hooks) {
    if (!event.is_array()) continue;
    for (const auto& entry : event) {
      if (entry.is_object() && entry.contains("hooks") && names(coding::print(entry["hooks"], {})))
        return true;
    }
  }
  return false;
}

// --- TOML ---

void collectCalls(const toml::node& node, std::vector<RelayCall>& calls) {
  std::vector<std::string> texts;
  const auto take = [&](const toml::node& each) {
    if (const auto* text = each.as_string())
      texts.push_back(text->get());
    else
      collectCalls(each, calls);
  };
  if (const auto* list = node.as_array())
    for (const auto& each : *list) take(each);
  if (const auto* table = node.as_table())
    for (const auto& [key, each] : *table) take(each);
  addCalls(texts, calls);
}

bool holdsRelay(const toml::node& node) {
  if (const auto* text = node.as_string()) return names(text->get());
  if (const auto* list = node.as_array()) return std::any_of(list->begin(), list->end(), holdsRelay);
  if (const auto* table = node.as_table()) {
    return std::any_of(table->begin(), table->end(),
                       [](const auto& entry) { return holdsRelay(entry.second); });
  }
  return false;
}

bool holdsRelay(const toml::table& table, std::string_view key) {
  const auto* node = table.get(key);
  return node != nullptr && holdsRelay(*node);
}

// The table in which a line that was meant for the top level has ended up.
std::optional<std::string> tableWithNotify(const toml::table& root) {
  for (const auto& [key, node] : root) {
    const auto* table = node.as_table();
    if (table != nullptr && holdsRelay(*table, "notify")) return std::string(key.str());
  }
  return std::nullopt;
}

// --- JavaScript ---

// The relay's path where a string of the line ends with its name.
std::optional<std::string> relayInSource(std::string_view line) {
  const auto name = line.find(relayName);
  const auto end = name + relayName.size();
  if (name == std::string_view::npos || end >= line.size()) return std::nullopt;
  const auto begin = line.find(line[end]);
  if (line[end] != '"' || begin >= name) return std::nullopt;
  const auto text = coding::parse(line.substr(begin, end + 1 - begin));
  return text && text->is_string() ? std::optional(text->get<std::string>()) : std::nullopt;
}

}  // namespace

RelayMention relayInJsonHooks(std::string_view text, JsonComments comments) {
  if (isBlank(text)) return {};
  const auto document = coding::parse(text, comments == JsonComments::yes);
  if (!document) {
    const DecodeError& error = document.error();
    if (error.byte == 0) return {.problem = error.description};
    return {.problem = position(text, error.byte) + ": not valid JSON"};
  }
  if (!document->is_object() || !document->contains("hooks")) return {};
  const Json& hooks = (*document)["hooks"];
  RelayMention mention{.isMentioned = names(coding::print(hooks, {}))};
  collectCalls(hooks, mention.calls);
  if (mention.isMentioned && !hasNestedRelay(hooks)) mention.caveat = "hooks in this form are not run";
  return mention;
}

RelayMention relayInToml(std::string_view text) {
  const auto document = parseToml(text);
  if (!document) return {.problem = document.error().description};
  const bool hasNotify = holdsRelay(*document, "notify");
  const auto* hooks = document->get_as<toml::table>("hooks");
  RelayMention mention{.isMentioned = hasNotify || holdsRelay(*document, "hooks")};
  for (const char* key : {"notify", "hooks"})
    if (const auto* node = document->get(key)) collectCalls(*node, mention.calls);
  if (hooks != nullptr && holdsRelay(*hooks)) {
    if (!hooks->contains("state"))
      mention.caveat =
          "Codex runs these hooks only once they are trusted: it asks when it starts in a terminal";
  } else if (hasNotify) {
    mention.caveat = "\"notify\" tells only the end of a turn, so no session ever counts as working";
  } else if (const auto table = tableWithNotify(*document)) {
    mention.caveat =
        "\"notify\" stands in [" + *table + "], where it has no meaning: it belongs above all sections";
  }
  return mention;
}

RelayMention relayInPlugin(std::string_view text) {
  RelayMention mention;
  bool isObject = false;
  bool hasEvents = false;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const auto begin = std::min(line.find_first_not_of(" \t"), line.size());
    if (line.substr(begin).starts_with("//")) continue;
    mention.isMentioned = mention.isMentioned || names(line);
    if (auto relay = relayInSource(line)) mention.calls.push_back({*std::move(relay), {}, {}});
    isObject = isObject || line.find("onSessionStatus") != std::string_view::npos;
    hasEvents = hasEvents || line.find("event") != std::string_view::npos;
  }
  if (mention.isMentioned && isObject && !hasEvents)
    mention.caveat = "OpenCode refuses a plug-in that is an object instead of a function";
  return mention;
}

}  // namespace vigilo
