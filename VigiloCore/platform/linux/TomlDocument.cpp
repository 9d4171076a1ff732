#include "platform/linux/TomlDocument.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "support/TomlParsing.h"

namespace vigilo {
namespace {

std::optional<Date> dateOf(const toml::date_time& moment) {
  if (!moment.offset) return std::nullopt;  // nobody can say when that is
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", moment.date.year, moment.date.month,
                moment.date.day, moment.time.hour, moment.time.minute, moment.time.second);
  const auto local = Date::fromIso8601(text);
  if (!local) return std::nullopt;
  return *local + (moment.time.nanosecond / 1e9 - moment.offset->minutes * 60.0);
}

std::optional<DefaultsValue> valueOf(const toml::node& node) {
  if (const auto* boolean = node.as_boolean()) return boolean->get();
  if (const auto* integer = node.as_integer()) return integer->get();
  if (const auto* floating = node.as_floating_point()) return floating->get();
  if (const auto* text = node.as_string()) return text->get();
  if (const auto* moment = node.as_date_time()) {
    if (const auto date = dateOf(moment->get())) return *date;
  }
  return std::nullopt;
}

// --- Values as text ---

std::string print(bool value) {
  return value ? "true" : "false";
}

std::string print(std::int64_t value) {
  return std::to_string(value);
}

// The shortest digits that read back as the same number, whatever the program's locale.
std::string print(double value) {
  if (std::isnan(value)) return "nan";
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  std::string text(digits, end);
  if (std::isfinite(value) && text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

std::string print(const std::string& value) {
  std::string text = "\"";
  for (const char c : value) {
    if (c == '"' || c == '\\') {
      text.append({'\\', c});
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(c));
      text += escape;
    } else {
      text += c;
    }
  }
  return text + "\"";
}

// Moments that the format cannot say become the nearest one that it can.
std::string print(Date value) {
  static const Date first = *Date::fromIso8601("0001-01-01T00:00:00Z");
  static const Date last = *Date::fromIso8601("9999-12-31T23:59:59Z");
  const double seconds =
      std::clamp(value.secondsSinceReference, first.secondsSinceReference, last.secondsSinceReference);
  const double whole = std::floor(seconds);
  std::string text = Date{whole}.iso8601();
  const double billionths = std::min(std::round((seconds - whole) * 1e9), 999999999.0);
  if (billionths == 0) return text;
  char fraction[16];
  std::snprintf(fraction, sizeof fraction, ".%09.0f", billionths);
  std::string digits = fraction;
  digits.erase(digits.find_last_not_of('0') + 1);
  return text.insert(text.size() - 1, digits);
}

std::string printValue(const DefaultsValue& value) {
  return std::visit([](const auto& each) { return print(each); }, value);
}

std::string printKey(const std::string& key) {
  const bool bare = !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
  });
  return bare ? key : print(key);
}

// --- Places in the text ---

// The byte at which a line's column stands; columns count characters.
std::size_t offsetOf(const std::string& text, toml::source_position position) {
  std::size_t at = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
  for (toml::source_index line = 1; line < position.line && at < text.size(); ++line)
    at = std::min(text.find('\n', at), text.size() - 1) + 1;
  for (toml::source_index column = 1; column < position.column && at < text.size(); ++column) {
    ++at;
    while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) ++at;
  }
  return at;
}

std::size_t lineStart(const std::string& text, std::size_t at) {
  if (at == 0) return 0;
  const auto previous = text.rfind('\n', at - 1);
  return previous == std::string::npos ? 0 : previous + 1;
}

// The start of the next line, or the end of the text.
std::size_t lineEnd(const std::string& text, std::size_t at) {
  const auto end = text.find('\n', at);
  return end == std::string::npos ? text.size() : end + 1;
}

bool isBefore(toml::source_position one, toml::source_position other) {
  return one.line != other.line ? one.line < other.line : one.column < other.column;
}

// Calls `visit(key, node)` for everything in the table and in the tables below it.
template <class Visit>
void walk(const toml::table& table, const Visit& visit) {
  for (const auto& [key, node] : table) {
    visit(key, node);
    if (const auto* inner = node.as_table()) walk(*inner, visit);
  }
}

// A header's region begins before the last key in it; that of a value begins behind its key.
std::optional<toml::source_position> firstHeader(const toml::table& table) {
  std::optional<toml::source_position> first;
  walk(table, [&](const toml::key& key, const toml::node& node) {
    const auto begin = node.source().begin;
    if (isBefore(begin, key.source().begin) && (!first || isBefore(begin, *first))) first = begin;
  });
  return first;
}

std::optional<toml::source_position> lastValueEnd(const toml::table& table,
                                                  const std::optional<toml::source_position>& header) {
  std::optional<toml::source_position> last;
  walk(table, [&](const toml::key& key, const toml::node& node) {
    const auto region = node.source();
    const bool isValue = isBefore(key.source().begin, region.begin);
    if (!isValue || (header && isBefore(*header, region.begin))) return;
    if (!last || isBefore(*last, region.end)) last = region.end;
  });
  return last;
}

// Behind the last key at the top level, else before the first table's header, else at the end of the text.
std::size_t placeForNewKey(const std::string& text, const toml::table& table) {
  const auto header = firstHeader(table);
  if (const auto last = lastValueEnd(table, header)) return lineEnd(text, offsetOf(text, *last));
  return header ? lineStart(text, offsetOf(text, *header)) : text.size();
}

std::string inserted(std::string text, const toml::table& table, const std::string& key,
                     const DefaultsValue& value) {
  const std::string newline = text.find("\r\n") == std::string::npos ? "\n" : "\r\n";
  std::size_t at = placeForNewKey(text, table);
  if (at > 0 && text[at - 1] != '\n' && at != offsetOf(text, {1, 1})) {
    text.insert(at, newline);
    at += newline.size();
  }
  return text.insert(at, printKey(key) + " = " + printValue(value) + newline);
}

std::string edited(std::string text, const toml::table& table, const std::string& key,
                   const std::optional<DefaultsValue>& value) {
  const auto found = table.find(key);
  if (found == table.end()) return value ? inserted(std::move(text), table, key, *value) : text;
  const auto region = found->second.source();
  const std::size_t begin = offsetOf(text, region.begin);
  const std::size_t end = offsetOf(text, region.end);
  if (value) return text.replace(begin, end - begin, printValue(*value));
  const std::size_t line = lineStart(text, offsetOf(text, found->first.source().begin));
  // A byte order mark is no part of its line.
  const std::size_t from = std::max(line, offsetOf(text, {1, 1}));
  return text.erase(from, lineEnd(text, end) - from);
}

}  // namespace

Result<TomlDocument, TomlError> TomlDocument::parse(std::string text) {
  const auto table = parseToml(text);
  if (!table) return table.error();
  TomlDocument document;
  for (const auto& [key, node] : *table) {
    if (auto value = valueOf(node))
      document.values_.emplace(key.str(), std::move(*value));
    else
      document.otherKeys_.emplace_back(key.str());
  }
  document.text_ = std::move(text);
  return document;
}

Result<TomlDocument, TomlError> TomlDocument::with(const std::string& key,
                                                   const std::optional<DefaultsValue>& value) const {
  auto before = parseToml(text_);
  if (!before) return before.error();
  if (const auto* node = before->get(key); node != nullptr && node->is_table())
    return TomlError{"\"" + key + "\" is a table, where a value belongs"};
  std::string text = edited(text_, *before, key, value);
  auto after = parseToml(text);
  if (!after) return after.error();
  const bool isThere = after->contains(key);
  before->erase(key);
  after->erase(key);
  if (isThere != value.has_value() || *before != *after)
    return TomlError{"\"" + key + "\" cannot be changed without changing more"};
  return parse(std::move(text));
}

}  // namespace vigilo
