#include "app/HoldInForce.h"

#include "support/RecordCoding.h"

namespace vigilo {
namespace {

bool isStillAwaited(const HoldFacts& facts, Date now) {
  const double waited = now - facts.askedAt;
  return waited >= 0 && waited < answerPatienceSeconds;
}

IdleHold idleHold(const HoldFacts& facts, Date now) {
  if (facts.isIdleHeld) return *facts.isIdleHeld ? IdleHold::held : IdleHold::refused;
  return isStillAwaited(facts, now) ? IdleHold::notYet : IdleHold::noAnswer;
}

DeepHold deepHold(const HoldFacts& facts, Date now) {
  if (!facts.helper) return isStillAwaited(facts, now) ? DeepHold::notYet : DeepHold::noAnswer;
  const DeepSleepStatus& helper = *facts.helper;
  if (!helper.isHelperInstalled) return DeepHold::noHelper;
  if (!helper.originalSleepDisabledState) return DeepHold::noAnswer;  // every answer of a helper has it
  if (!helper.isDeepHoldActive) return DeepHold::noLease;
  if (helper.leaseExpiresAt && *helper.leaseExpiresAt <= now) return DeepHold::lapsed;
  if (!facts.ownLeaseId || helper.activeLeaseId != facts.ownLeaseId) return DeepHold::anothers;
  return helper.currentSystemSleepDisabled ? DeepHold::held : DeepHold::notInForce;
}

}  // namespace

HoldInForce holdInForce(const WakeDecision& decision, const HoldFacts& facts, Date now) {
  HoldInForce force;
  force.deep = deepHold(facts, now);
  const auto* hold = decision.hold();
  const bool isDeepAskedFor = hold != nullptr && hold->requiresDeepHold;
  if (!isDeepAskedFor && force.deep != DeepHold::held) force.deep = DeepHold::notAskedFor;
  if (hold == nullptr) {
    force.state = decision.isBlocked() ? HoldState::blocked : HoldState::released;
    return force;
  }
  force.idle = idleHold(facts, now);
  const bool isIdleHeld = force.idle == IdleHold::held;
  const bool isDeepHeld = force.deep == DeepHold::held;
  if (force.idle == IdleHold::notYet || force.deep == DeepHold::notYet)
    force.state = HoldState::notYet;
  else if (isIdleHeld && (isDeepHeld || !isDeepAskedFor))
    force.state = HoldState::held;
  else
    force.state = isIdleHeld || isDeepHeld ? HoldState::partlyHeld : HoldState::notHeld;
  return force;
}

VIGILO_RECORD_CODING(HoldInForce);

}  // namespace vigilo
