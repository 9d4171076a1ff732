#pragma once

// The JSON form of a decision, for the .cpp files whose records hold one.

#include "policy/WakeDecision.h"
#include "support/RecordCoding.h"

namespace vigilo::coding {

// Not a record: one key names the case and holds its payload.
template <>
struct Coding<WakeDecision> {
  static Json encode(const WakeDecision& decision, CoderOptions options);
  static WakeDecision decode(const Json& object, CoderOptions options);
};

}  // namespace vigilo::coding
