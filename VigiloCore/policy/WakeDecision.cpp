#include "policy/WakeDecision.h"

#include "policy/PolicyConfiguration.h"
#include "policy/WakeDecisionCoding.h"

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

Json Coding<WakeDecision>::encode(const WakeDecision& decision, CoderOptions options) {
  Json object = Json::object();
  if (decision.hold() != nullptr) object["hold"] = coding::encode(*decision.hold(), options);
  if (decision.release() != nullptr) object["release"] = coding::encode(*decision.release(), options);
  if (decision.blocked() != nullptr) object["blocked"] = coding::encode(*decision.blocked(), options);
  return object;
}

WakeDecision Coding<WakeDecision>::decode(const Json& object, CoderOptions options) {
  if (!object.is_object()) throw Failure("expected an object");
  std::string found;
  int known = 0;
  for (const char* name : {"hold", "release", "blocked"}) {
    if (!object.contains(name)) continue;
    found = name;
    ++known;
  }
  if (known != 1) throw Failure("Invalid number of keys found, expected one.");
  try {
    const Json& payload = object[found];
    if (found == "hold") return coding::decode<WakeDecision::Hold>(payload, options);
    if (found == "release") return coding::decode<WakeDecision::Release>(payload, options);
    return coding::decode<WakeDecision::Blocked>(payload, options);
  } catch (Failure& failure) {
    failure.under(found);
    throw;
  }
}

}  // namespace coding

VIGILO_RECORD_CODING(PolicyConfiguration);
VIGILO_RECORD_CODING(WakeDecision);

}  // namespace vigilo
