#pragma once

// Reading agents' JSON in place, for the .cpp files of the providers. One pass over an object visits every
// field, takes what is wanted and checks all the rest, so that half a line is never taken for a whole one.
// Functions return false where the text is not JSON; a value of another type than the wanted one is absent.
// Integers of any length are JSON, and so are halves of surrogate pairs in escapes, which agents write where
// they cut a text.

#include <simdjson.h>

#include <cstdint>
#include <optional>
#include <string_view>

#include "usage/LineReader.h"

namespace vigilo::usagejson {

using Value = simdjson::ondemand::value;

static_assert(simdjson::SIMDJSON_PADDING <= LineReader::padding);

// Deeper nesting is refused, as it would use up the stack.
inline constexpr int deepestLevel = 512;

// Some releases of the library want to be told that characters are not to be replaced.
template <class Field>
auto keyOf(Field& field) {
  if constexpr (requires { field.unescaped_key(); })
    return field.unescaped_key();
  else
    return field.unescaped_key(false);
}

// Calls `onField(key, value)` for each field and ends where that returns false.
template <class Object, class OnField>
bool visitFields(Object object, OnField& onField) {
  for (auto result : object) {
    simdjson::ondemand::field field;
    std::string_view key;
    if (std::move(result).get(field) != simdjson::SUCCESS) return false;
    if (keyOf(field).get(key) != simdjson::SUCCESS) return false;
    if (!onField(key, field.value())) return false;
  }
  return true;
}

// Whether all of the value is JSON.
bool check(Value& value);

bool isObject(Value& value);

// The fields of an object. Any other value has none.
template <class OnField>
bool fields(Value& value, OnField onField) {
  if (!isObject(value)) return check(value);
  simdjson::ondemand::object object;
  if (value.current_depth() > deepestLevel || value.get_object().get(object) != simdjson::SUCCESS)
    return false;
  return visitFields(object, onField);
}

// The text stays valid until the reader reads again.
bool text(Value& value, std::optional<std::string_view>& into);
// Integers within `largestPlausibleFigure`; "12.0" is none.
bool count(Value& value, std::optional<std::int64_t>& into);
// Integers as well; within `largestPlausibleFigure`.
bool amount(Value& value, std::optional<double>& into);

// False where it is neither true nor false.
bool flag(Value& value, bool& into);

// Reads texts that are one object each. Keeps its working memory, about six times the longest text.
class ObjectReader {
 public:
  // False where the text is not exactly one object. The padding of a LineReader must follow it.
  template <class OnField>
  bool read(std::string_view text, OnField onField) {
    simdjson::ondemand::document document;
    simdjson::ondemand::object object;
    if (parser_.iterate(text, text.size() + simdjson::SIMDJSON_PADDING).get(document) != simdjson::SUCCESS ||
        document.get_object().get(object) != simdjson::SUCCESS) {
      return false;
    }
    // Behind a whole document there is no location any more.
    return visitFields(object, onField) && document.current_location().error() == simdjson::OUT_OF_BOUNDS;
  }

 private:
  simdjson::ondemand::parser parser_;
};

}  // namespace vigilo::usagejson
