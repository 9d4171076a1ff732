#pragma once

#include <algorithm>
#include <optional>
#include <string_view>
#include <tuple>

namespace vigilo {

// One field of a record: its JSON key and its member. A record lists its fields once:
//   static constexpr auto fields() { return std::tuple{field("command", &HelperRequest::command), ...}; }
template <class Record, class Member>
struct Field {
  const char* name;
  Member Record::*member;
};

template <class Record, class Member>
constexpr Field<Record, Member> field(const char* name, Member Record::*member) {
  return {name, member};
}

template <class T>
concept RecordType = requires {
  T::fields();
};

// The raw strings of an enumeration, in declaration order. Specialise with
//   static constexpr std::array table{std::pair{Kind::a, "a"sv}, ...};
template <class Enumeration>
struct RawValues;

template <class T>
concept RawValued = requires {
  RawValues<T>::table;
};

template <RawValued E>
constexpr std::string_view rawValue(E value) {
  for (const auto& [candidate, text] : RawValues<E>::table) {
    if (candidate == value) return text;
  }
  return {};
}

template <RawValued E>
constexpr std::optional<E> fromRawValue(std::string_view text) {
  for (const auto& [value, candidate] : RawValues<E>::table) {
    if (candidate == text) return value;
  }
  return std::nullopt;
}

}  // namespace vigilo
