#pragma once

// The JSON form of a metric, for the .cpp files whose records hold one.

#include <string>

#include "support/RecordCoding.h"
#include "usage/BudgetMetric.h"

namespace vigilo::coding {

// Not a record: "type" names the case.
template <class T>
struct Coding<BudgetMetric<T>> {
  static Json encode(const BudgetMetric<T>& metric, CoderOptions options) {
    if (!metric.isAvailable()) return {{"type", "unavailable"}, {"reason", *metric.unavailableReason()}};
    return {{"type", "known"},
            {"value", coding::encode(*metric.value(), options)},
            {"confidence", encodeDouble(metric.confidence())},
            {"source", *metric.source()}};
  }

  static BudgetMetric<T> decode(const Json& object, CoderOptions options) {
    if (!object.is_object()) throw Failure("expected an object");
    const auto type = member<std::string>(object, "type", options);
    if (type == "unavailable") {
      return BudgetMetric<T>::unavailable(member<std::string>(object, "reason", options));
    }
    if (type != "known") throw Failure("expected a type \"known\" or \"unavailable\"");
    return BudgetMetric<T>::known(member<T>(object, "value", options),
                                  member<double>(object, "confidence", options),
                                  member<std::string>(object, "source", options));
  }

 private:
  template <class M>
  static M member(const Json& object, const char* name, CoderOptions options) {
    try {
      if (!object.contains(name)) throw Failure("expected a value, found none");
      return coding::decode<M>(object[name], options);
    } catch (Failure& failure) {
      failure.under(name);
      throw;
    }
  }
};

}  // namespace vigilo::coding
