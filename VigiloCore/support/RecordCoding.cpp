#include "support/RecordCoding.h"

#include <istream>

namespace vigilo::coding {
namespace {

// Doubles at and beyond these bounds do not convert to a 64-bit integer.
constexpr double integerLimit = 9223372036854775808.0;

}  // namespace

Result<Json, DecodeError> parse(std::string_view text, bool comments) {
  const auto invalidAt = [&](std::size_t byte) {
    return DecodeError{
        "not valid JSON (byte " + std::to_string(byte) + " of " + std::to_string(text.size()) + ")", byte};
  };
  // The library takes a zero byte for the end and would not look at what follows.
  if (const auto zero = text.find('\0'); zero != std::string_view::npos) return invalidAt(zero + 1);
  try {
    return Json::parse(text.begin(), text.end(), nullptr, true, comments);
  } catch (const Json::parse_error& error) {
    // The library's own text quotes the input, which need not be printable.
    return invalidAt(error.byte);
  } catch (const Json::exception&) {
    return DecodeError{"a number is out of range"};
  }
}

std::optional<DecodeError> parseLarge(std::istream& text, const Json::parser_callback_t& visit) {
  try {
    const Json remainder = Json::parse(text, visit);
    // The library takes a zero byte for the end.
    if (text.rdbuf()->sgetc() == std::istream::traits_type::eof()) return std::nullopt;
    return DecodeError{"not valid JSON: bytes follow a zero byte"};
  } catch (const Failure& failure) {
    return DecodeError{failure.description()};
  } catch (const Json::parse_error& error) {
    return DecodeError{"not valid JSON (byte " + std::to_string(error.byte) + ")"};
  } catch (const Json::exception&) {
    return DecodeError{"a number is out of range"};
  } catch (const std::ios_base::failure&) {
    return DecodeError{"cannot be read"};
  }
}

std::string print(const Json& document, CoderOptions options) {
  const int indent = options.pretty ? 2 : -1;
  constexpr auto replace = Json::error_handler_t::replace;
  if (!options.sortedKeys) return document.dump(indent, ' ', false, replace);
  return nlohmann::json(document).dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
}

Json encodeDouble(double value) {
  if (!std::isfinite(value)) throw std::domain_error("a number that is not finite has no JSON form");
  return value;
}

Json encodeDate(Date date, CoderOptions options) {
  if (options.dates == DateCoding::iso8601) return date.iso8601();
  return encodeDouble(date.secondsSinceReference);
}

double decodeDouble(const Json& value) {
  if (!value.is_number()) throw Failure("expected a number");
  return value.get<double>();
}

Date decodeDate(const Json& value, CoderOptions options) {
  if (options.dates == DateCoding::referenceSeconds) return {decodeDouble(value)};
  if (const auto date = Date::fromIso8601(decodeString(value))) return *date;
  throw Failure("expected a date such as 2026-11-21T07:57:11Z");
}

bool decodeBool(const Json& value) {
  if (!value.is_boolean()) throw Failure("expected true or false");
  return value.get<bool>();
}

std::string decodeString(const Json& value) {
  if (!value.is_string()) throw Failure("expected a string");
  return value.get<std::string>();
}

std::int64_t decodeInteger(const Json& value, std::int64_t least, std::int64_t most) {
  if (!value.is_number()) throw Failure("expected a whole number");
  std::int64_t number = 0;
  if (value.is_number_unsigned()) {
    const auto large = value.get<std::uint64_t>();
    if (large > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      throw Failure("expected a number in range");
    }
    number = static_cast<std::int64_t>(large);
  } else if (value.is_number_float()) {
    const auto real = value.get<double>();
    if (real != std::trunc(real)) throw Failure("expected a whole number");
    if (!(real >= -integerLimit && real < integerLimit)) throw Failure("expected a number in range");
    number = static_cast<std::int64_t>(real);
  } else {
    number = value.get<std::int64_t>();
  }
  if (number < least || number > most) throw Failure("expected a number in range");
  return number;
}

}  // namespace vigilo::coding
