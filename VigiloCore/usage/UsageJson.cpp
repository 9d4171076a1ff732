#include "usage/UsageJson.h"

#include <algorithm>
#include <charconv>

#include "usage/UsageRecords.h"

namespace vigilo::usagejson {
namespace {

using simdjson::SUCCESS;
using simdjson::ondemand::json_type;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isHexDigit(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// A scalar as it stands, from its first character on. For texts that includes the quotes.
std::string_view token(Value& value) {
  std::string_view raw = value.raw_json_token();
  const std::size_t last = raw.find_last_not_of(" \t\n\r");
  return raw.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

// The parser has looked at quotes, control characters and UTF-8; escapes it leaves to whoever reads the text.
bool hasValidEscapes(std::string_view text) {
  for (std::size_t at = text.find('\\'); at != std::string_view::npos; at = text.find('\\', at + 2)) {
    const std::string_view escape = text.substr(at + 1);
    if (escape.empty() || std::string_view("\"\\/bfnrtu").find(escape.front()) == std::string_view::npos)
      return false;
    if (escape.front() != 'u') continue;
    const std::string_view digits = escape.substr(1, 4);
    if (digits.size() < 4 || !std::ranges::all_of(digits, isHexDigit)) return false;
  }
  return true;
}

// Drops the digits at the front of `text`; false where there are none.
bool takeDigits(std::string_view& text) {
  const std::size_t before = text.size();
  while (!text.empty() && isDigit(text.front())) text.remove_prefix(1);
  return text.size() < before;
}

bool take(std::string_view& text, std::string_view anyOf) {
  if (text.empty() || anyOf.find(text.front()) == std::string_view::npos) return false;
  text.remove_prefix(1);
  return true;
}

bool isNumber(std::string_view text) {
  take(text, "-");
  if (text.starts_with('0')) {
    text.remove_prefix(1);
  } else if (!takeDigits(text)) {
    return false;
  }
  if (take(text, ".") && !takeDigits(text)) return false;
  if (take(text, "eE")) {
    take(text, "+-");
    if (!takeDigits(text)) return false;
  }
  return text.empty();
}

bool checkElements(Value& value) {
  simdjson::ondemand::array array;
  if (value.get_array().get(array) != SUCCESS) return false;
  for (auto result : array) {
    Value element;
    if (std::move(result).get(element) != SUCCESS || !check(element)) return false;
  }
  return true;
}

bool isOfType(Value& value, json_type wanted) {
  json_type type{};
  return value.type().get(type) == SUCCESS && type == wanted;
}

}  // namespace

bool isObject(Value& value) {
  return isOfType(value, json_type::object);
}

bool check(Value& value) {
  json_type type{};
  if (value.type().get(type) != SUCCESS || value.current_depth() > deepestLevel) return false;
  switch (type) {
    case json_type::object:
      return fields(value, [](std::string_view, Value& field) { return check(field); });
    case json_type::array:
      return checkElements(value);
    case json_type::string:
      return hasValidEscapes(token(value));
    case json_type::number:
      return isNumber(token(value));
    case json_type::boolean:
      return token(value) == "true" || token(value) == "false";
    case json_type::null:
      return token(value) == "null";
  }
  return false;
}

bool text(Value& value, std::optional<std::string_view>& into) {
  into.reset();
  if (!check(value)) return false;
  std::string_view found;
  if (isOfType(value, json_type::string) && value.get_string().get(found) == SUCCESS) into = found;
  return true;
}

bool count(Value& value, std::optional<std::int64_t>& into) {
  into.reset();
  if (!check(value)) return false;
  if (!isOfType(value, json_type::number)) return true;
  const std::string_view digits = token(value);
  std::int64_t found = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), found);
  if (error == std::errc() && end == digits.data() + digits.size()) into = plausibleCount(found);
  return true;
}

bool amount(Value& value, std::optional<double>& into) {
  into.reset();
  if (!check(value)) return false;
  double found = 0;
  if (isOfType(value, json_type::number) && value.get_double().get(found) == SUCCESS) {
    into = plausibleAmount(found);
  }
  return true;
}

bool flag(Value& value, bool& into) {
  into = false;
  if (!check(value)) return false;
  bool found = false;
  if (isOfType(value, json_type::boolean) && value.get_bool().get(found) == SUCCESS) into = found;
  return true;
}

}  // namespace vigilo::usagejson
