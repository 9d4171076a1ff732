#include "policy/WakeDecision.h"

#include "policy/PolicyConfiguration.h"
#include "support/RecordCoding.h"

namespace vigilo {

std::string WakeDecision::statusDescription() const {
  if (const Hold* held = hold()) {
    return "Active (" + std::to_string(held->activeAgentCount) + " working agent" +
           (held->activeAgentCount == 1 ? "" : "s") + ") — " + held->reason;
  }
  if (const Blocked* withheld = blocked()) return "Safety blocked: " + std::string(rawValue(withheld->block));
  return "Sleep enabled — " + release()->reason;
}

namespace coding {

// Not a record: one key names the case and holds its payload.
template <>
struct Coding<WakeDecision> {
  static Json encode(const WakeDecision& decision, CoderOptions options) {
    Json object = Json::object();
    if (decision.hold() != nullptr) object["hold"] = coding::encode(*decision.hold(), options);
    if (decision.release() != nullptr) object["release"] = coding::encode(*decision.release(), options);
    if (decision.blocked() != nullptr) object["blocked"] = coding::encode(*decision.blocked(), options);
    return object;
  }

  static WakeDecision decode(const Json& object, CoderOptions options) {
    if (!object.is_object()) throw Failure("expected an object");
    const int known =
        static_cast<int>(object.count("hold") + object.count("release") + object.count("blocked"));
    if (known != 1) throw Failure("Invalid number of keys found, expected one.");
    try {
      if (object.contains("hold")) return coding::decode<WakeDecision::Hold>(object["hold"], options);
      if (object.contains("release"))
        return coding::decode<WakeDecision::Release>(object["release"], options);
      return coding::decode<WakeDecision::Blocked>(object["blocked"], options);
    } catch (Failure& failure) {
      failure.under(object.contains("hold") ? "hold" : object.contains("release") ? "release" : "blocked");
      throw;
    }
  }
};

}  // namespace coding

VIGILO_RECORD_CODING(PolicyConfiguration);
VIGILO_RECORD_CODING(WakeDecision);

}  // namespace vigilo
