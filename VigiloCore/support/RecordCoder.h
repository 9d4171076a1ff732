#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "support/Result.h"

namespace vigilo {

// JSON coding of records, the same for all of them: absent optionals are omitted; a missing or null optional
// reads as absent; a missing required key, a wrong JSON type or a number out of range is an error that names
// the key path; a boolean is never a number; unknown keys are ignored; enumerations are their raw strings;
// text that is not UTF-8 is written with replacement characters; numbers that are not finite are refused.
// Thread-safe.
//
// This header names the operations only. A record family's .cpp includes "support/RecordCoding.h" and
// instantiates them with VIGILO_RECORD_CODING(Type), so that the JSON library is compiled there and nowhere
// else.

enum class DateCoding {
  referenceSeconds,  // a number: seconds since 2001-01-01 00:00:00 UTC
  iso8601,           // "2026-11-21T07:57:11Z"
};

struct CoderOptions {
  DateCoding dates = DateCoding::referenceSeconds;
  bool sortedKeys = false;
  bool pretty = false;  // indented by two blanks
};

// The form of exports and of `--json`: sorted keys and readable dates.
inline constexpr CoderOptions exportForm{DateCoding::iso8601, true, true};

struct DecodeError {
  std::string description;  // for people: "state: expected a string"
  std::size_t byte = 0;     // the first that no JSON begins with, counted from 1; 0 where it is JSON
};

// Throws std::domain_error for a number that is not finite; no record of this system holds one.
template <class Record>
std::string encodeRecord(const Record& record, CoderOptions options = {});

template <class Record>
Result<Record, DecodeError> decodeRecord(std::string_view json, CoderOptions options = {});

}  // namespace vigilo
