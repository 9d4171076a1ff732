#include "app/HoldInForce.h"

#include <gtest/gtest.h>

namespace vigilo {
namespace {

const Date now = Date::fromUnix(1795262400);
const WakeDecision released = WakeDecision::Release{"No active agent sessions"};
const WakeDecision blocked = WakeDecision::Blocked{SafetyBlock::paused};
const WakeDecision light = WakeDecision::Hold{"Claude Code working", 1, false};
const WakeDecision deep = WakeDecision::Hold{"Claude Code working", 1, true};

DeepSleepStatus helper(std::optional<std::string> lease = {}, bool isInForce = true, double left = 40) {
  DeepSleepStatus status{.isHelperInstalled = true, .originalSleepDisabledState = false};
  if (!lease) return status;
  status.isDeepHoldActive = true;
  status.activeLeaseId = lease;
  status.leaseExpiresAt = now + left;
  status.currentSystemSleepDisabled = isInForce;
  return status;
}

HoldFacts facts(std::optional<bool> idle, std::optional<DeepSleepStatus> status,
                std::optional<std::string> own = "own", double asked = 60) {
  return {idle, std::move(status), std::move(own), now - asked};
}

TEST(HoldInForce, NothingIsCalledHeldThatIsNot) {
  using S = HoldState;
  using I = IdleHold;
  using D = DeepHold;
  struct Row {
    const char* name;
    const WakeDecision& decision;
    HoldFacts facts;
    HoldInForce expected;
  };
  const Row rows[] = {
      {"all", deep, facts(true, helper("own")), {S::held, I::held, D::held}},
      {"light", light, facts(true, {}), {S::held, I::held, D::notAskedFor}},
      {"no bus, no helper", deep, facts(false, DeepSleepStatus{}), {S::notHeld, I::refused, D::noHelper}},
      {"light, no bus", light, facts(false, helper()), {S::notHeld, I::refused, D::notAskedFor}},
      {"no helper", deep, facts(true, DeepSleepStatus{}), {S::partlyHeld, I::held, D::noHelper}},
      {"no bus", deep, facts(false, helper("own")), {S::partlyHeld, I::refused, D::held}},
      {"a socket without a helper",
       deep,
       facts(true, DeepSleepStatus{.isHelperInstalled = true}),
       {S::partlyHeld, I::held, D::noAnswer}},
      {"no lease", deep, facts(true, helper()), {S::partlyHeld, I::held, D::noLease}},
      {"no inhibitor", deep, facts(true, helper("own", false)), {S::partlyHeld, I::held, D::notInForce}},
      {"lease past", deep, facts(true, helper("own", true, 0)), {S::partlyHeld, I::held, D::lapsed}},
      {"another's", deep, facts(true, helper("other")), {S::partlyHeld, I::held, D::anothers}},
      {"another's, none of our own",
       deep,
       facts(true, helper("other"), {}),
       {S::partlyHeld, I::held, D::anothers}},
      {"just decided", deep, facts({}, {}, {}, 1), {S::notYet, I::notYet, D::notYet}},
      {"the helper is slow", deep, facts(true, {}, {}, 4.9), {S::notYet, I::held, D::notYet}},
      {"the helper hangs", deep, facts(true, {}, {}, 5), {S::partlyHeld, I::held, D::noAnswer}},
      {"the bus hangs", deep, facts({}, helper("own"), "own", 5), {S::partlyHeld, I::noAnswer, D::held}},
      {"the clock was set back", light, facts({}, {}, {}, -3600), {S::notHeld, I::noAnswer, D::notAskedFor}},
      {"deep protection switched off meanwhile",
       light,
       facts(true, helper("own")),
       {S::held, I::held, D::held}},
      {"released", released, facts(true, helper()), {S::released, I::notAskedFor, D::notAskedFor}},
      {"released, another holds",
       released,
       facts(false, helper("other")),
       {S::released, I::notAskedFor, D::notAskedFor}},
      {"blocked", blocked, facts(false, {}), {S::blocked, I::notAskedFor, D::notAskedFor}},
  };
  for (const Row& row : rows) EXPECT_EQ(holdInForce(row.decision, row.facts, now), row.expected) << row.name;
}

}  // namespace
}  // namespace vigilo
