#include "policy/Setting.h"

#include <algorithm>
#include <cmath>
#include <locale>
#include <sstream>
#include <variant>

namespace vigilo {
namespace {

// With a point whatever the program's locale.
std::optional<double> parseNumber(std::string_view text) {
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  double value = 0;
  stream >> std::noskipws >> value;
  if (stream.fail() || stream.peek() != std::istringstream::traits_type::eof()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<DefaultsValue> fallbackValue(const Setting& setting) {
  switch (setting.type) {
    case SettingType::boolean:
      return setting.fallback != 0;
    case SettingType::integer:
      return static_cast<std::int64_t>(setting.fallback);
    case SettingType::number:
      return setting.fallback;
    case SettingType::date:
    case SettingType::folders:
      break;
  }
  return std::nullopt;
}

std::optional<std::vector<std::string>> parseFolders(std::string_view text) {
  std::vector<std::string> folders;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(':', begin), text.size());
    const std::string_view folder = text.substr(begin, end - begin);
    const bool isControl =
        std::ranges::any_of(folder, [](char c) { return static_cast<unsigned char>(c) < ' '; });
    if (isControl || !(folder.starts_with('/') || folder.starts_with("~/"))) return std::nullopt;
    folders.emplace_back(folder);
    begin = end + 1;
  }
  return folders;
}

std::string printNumber(double value) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream.precision(15);
  stream << value;
  return stream.str();
}

std::optional<DefaultsValue> parse(const Setting& setting, std::string_view text) {
  if (setting.type == SettingType::boolean) {
    if (text != "true" && text != "false") return std::nullopt;
    return text == "true";
  }
  if (setting.type == SettingType::date) {
    const auto date = Date::fromIso8601(text);
    if (!date) return std::nullopt;
    return *date;
  }
  if (setting.type == SettingType::folders) {
    if (!parseFolders(text)) return std::nullopt;
    return std::string(text);
  }
  const auto value = parseNumber(text);
  if (!value || !(*value >= setting.least && *value <= setting.most)) return std::nullopt;
  if (setting.type == SettingType::number) return *value;
  if (*value != std::floor(*value)) return std::nullopt;
  return static_cast<std::int64_t>(*value);
}

std::string shown(const DefaultsValue& value) {
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return std::to_string(*whole);
  if (const auto* number = std::get_if<double>(&value)) return printNumber(*number);
  if (const auto* date = std::get_if<Date>(&value)) return date->iso8601();
  return "\"" + std::get<std::string>(value) + "\"";
}

bool isOfItsType(const Setting& setting, const DefaultsValue& value) {
  switch (setting.type) {
    case SettingType::boolean:
      return std::holds_alternative<bool>(value);
    case SettingType::integer:
      return std::holds_alternative<std::int64_t>(value);
    case SettingType::number:
      return std::holds_alternative<double>(value) || std::holds_alternative<std::int64_t>(value);
    case SettingType::folders:
      return std::holds_alternative<std::string>(value) && parseFolders(std::get<std::string>(value));
    case SettingType::date:
      break;
  }
  return std::holds_alternative<Date>(value);
}

bool isInRange(const Setting& setting, const DefaultsValue& value) {
  double number = 0;
  if (const auto* whole = std::get_if<std::int64_t>(&value))
    number = static_cast<double>(*whole);
  else if (const auto* fraction = std::get_if<double>(&value))
    number = *fraction;
  else
    return true;
  return number >= setting.least && number <= setting.most;
}

}  // namespace vigilo
