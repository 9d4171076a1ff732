#pragma once

// The coder behind RecordCoder.h. Include it only where records are instantiated: it brings in the JSON
// library.

#include <cmath>
#include <concepts>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/Date.h"
#include "support/RecordCoder.h"
#include "support/RecordFields.h"

namespace vigilo {

using Json = nlohmann::ordered_json;

namespace coding {

// What went wrong, and the keys on the way to it.
struct Failure {
  explicit Failure(std::string what) : reason(std::move(what)) {}
  std::string path;
  std::string reason;

  void under(const std::string& key) { path = path.empty() ? key : key + "." + path; }
  std::string description() const { return path.empty() ? reason : path + ": " + reason; }
};

// Parses a whole document; the error of a malformed one says at which byte. With `comments`, // and /* */
// count as blanks.
Result<Json, DecodeError> parse(std::string_view text, bool comments = false);
// Parses a document that is too large to stand in memory: `visit` sees every value, takes what it needs, and
// returns false for what is to be dropped at once. It may throw Failure.
std::optional<DecodeError> parseLarge(std::istream& text, const Json::parser_callback_t& visit);
std::string print(const Json& document, CoderOptions options);

Json encodeDate(Date date, CoderOptions options);
Json encodeDouble(double value);
Date decodeDate(const Json& value, CoderOptions options);
double decodeDouble(const Json& value);
bool decodeBool(const Json& value);
std::string decodeString(const Json& value);
// A whole number between the limits; 5.0 counts as 5.
std::int64_t decodeInteger(const Json& value, std::int64_t least, std::int64_t most);

template <class T>
struct Coding;

template <class T>
Json encode(const T& value, CoderOptions options) {
  return Coding<T>::encode(value, options);
}
template <class T>
T decode(const Json& value, CoderOptions options) {
  return Coding<T>::decode(value, options);
}

template <>
struct Coding<bool> {
  static Json encode(bool value, CoderOptions) { return value; }
  static bool decode(const Json& value, CoderOptions) { return decodeBool(value); }
};
template <std::signed_integral T>
struct Coding<T> {
  static Json encode(T value, CoderOptions) { return static_cast<std::int64_t>(value); }
  static T decode(const Json& value, CoderOptions) {
    return static_cast<T>(decodeInteger(value, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
  }
};
template <>
struct Coding<double> {
  static Json encode(double value, CoderOptions) { return encodeDouble(value); }
  static double decode(const Json& value, CoderOptions) { return decodeDouble(value); }
};
template <>
struct Coding<std::string> {
  static Json encode(const std::string& value, CoderOptions) { return value; }
  static std::string decode(const Json& value, CoderOptions) { return decodeString(value); }
};
template <>
struct Coding<Date> {
  static Json encode(Date value, CoderOptions options) { return encodeDate(value, options); }
  static Date decode(const Json& value, CoderOptions options) { return decodeDate(value, options); }
};
template <RawValued E>
struct Coding<E> {
  static Json encode(E value, CoderOptions) { return std::string(rawValue(value)); }
  static E decode(const Json& value, CoderOptions) {
    const std::string text = decodeString(value);
    if (const auto known = fromRawValue<E>(text)) return *known;
    throw Failure("expected one of the known values, found \"" + text.substr(0, 64) + "\"");
  }
};
template <class T>
struct Coding<std::vector<T>> {
  static Json encode(const std::vector<T>& values, CoderOptions options) {
    Json list = Json::array();
    for (const auto& value : values) list.push_back(coding::encode(value, options));
    return list;
  }
  static std::vector<T> decode(const Json& list, CoderOptions options) {
    if (!list.is_array()) throw Failure("expected an array");
    std::vector<T> values;
    for (const auto& value : list) values.push_back(coding::decode<T>(value, options));
    return values;
  }
};
template <class T>
struct Coding<std::map<std::string, T>> {
  static Json encode(const std::map<std::string, T>& values, CoderOptions options) {
    Json object = Json::object();
    for (const auto& [key, value] : values) object[key] = coding::encode(value, options);
    return object;
  }
  static std::map<std::string, T> decode(const Json& object, CoderOptions options) {
    if (!object.is_object()) throw Failure("expected an object");
    std::map<std::string, T> values;
    for (const auto& [key, value] : object.items()) values.emplace(key, coding::decode<T>(value, options));
    return values;
  }
};

// Keyed by an enumeration: an object keyed by its raw values.
template <RawValued E, class T>
struct Coding<std::map<E, T>> {
  static Json encode(const std::map<E, T>& values, CoderOptions options) {
    Json object = Json::object();
    for (const auto& [key, value] : values)
      object[std::string(rawValue(key))] = coding::encode(value, options);
    return object;
  }
  static std::map<E, T> decode(const Json& object, CoderOptions options) {
    if (!object.is_object()) throw Failure("expected an object");
    std::map<E, T> values;
    for (const auto& [key, value] : object.items()) {
      values.emplace(coding::decode<E>(Json(key), options), coding::decode<T>(value, options));
    }
    return values;
  }
};

template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};

template <RecordType R>
struct Coding<R> {
  static Json encode(const R& record, CoderOptions options) {
    Json object = Json::object();
    std::apply([&](const auto&... each) { (encodeField(object, record, each, options), ...); }, R::fields());
    return object;
  }
  static R decode(const Json& object, CoderOptions options) {
    if (!object.is_object()) throw Failure("expected an object");
    R record{};
    std::apply([&](const auto&... each) { (decodeField(object, record, each, options), ...); }, R::fields());
    return record;
  }

 private:
  template <class M>
  static void encodeField(Json& object, const R& record, const Field<R, M>& entry, CoderOptions options) {
    const M& value = record.*entry.member;
    if constexpr (IsOptional<M>::value) {
      if (value) object[entry.name] = coding::encode(*value, options);
    } else {
      object[entry.name] = coding::encode(value, options);
    }
  }
  template <class M>
  static void decodeField(const Json& object, R& record, const Field<R, M>& entry, CoderOptions options) {
    const auto found = object.find(entry.name);
    const bool missing = found == object.end() || found->is_null();
    try {
      if constexpr (IsOptional<M>::value) {
        if (!missing) record.*entry.member = coding::decode<typename M::value_type>(*found, options);
      } else if (missing) {
        throw Failure("expected a value, found none");
      } else {
        record.*entry.member = coding::decode<M>(*found, options);
      }
    } catch (Failure& failure) {
      failure.under(entry.name);
      throw;
    }
  }
};

}  // namespace coding

template <class Record>
std::string encodeRecord(const Record& record, CoderOptions options) {
  return coding::print(coding::encode(record, options), options);
}

template <class Record>
Result<Record, DecodeError> decodeRecord(std::string_view json, CoderOptions options) {
  const auto document = coding::parse(json);
  if (!document) return document.error();
  try {
    return coding::decode<Record>(*document, options);
  } catch (const coding::Failure& failure) {
    return DecodeError{failure.description()};
  }
}

#define VIGILO_RECORD_CODING(Record)                                      \
  template std::string encodeRecord<Record>(const Record&, CoderOptions); \
  template Result<Record, DecodeError> decodeRecord<Record>(std::string_view, CoderOptions)

}  // namespace vigilo
