#include "VigiloApp/commands/HoldText.h"

#include <pwd.h>
#include <unistd.h>

#include <string>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/commands/StatusText.h"
#include "VigiloApp/commands/TextTable.h"

namespace vigilo {
namespace {

bool asksForDeepHold(const WakeDecision& decision) {
  return decision.isHolding() && decision.hold()->requiresDeepHold;
}

// Why a hold that was asked for is missing; null when it is not.
const char* problemOf(IdleHold idle) {
  if (idle == IdleHold::refused) return "the idle hold was refused";
  return idle == IdleHold::noAnswer ? "the service of the idle hold does not answer" : nullptr;
}

const char* problemOf(DeepHold deep) {
  switch (deep) {
    case DeepHold::noHelper:
      return "no helper runs";
    case DeepHold::noAnswer:
      return "the helper does not answer";
    case DeepHold::noLease:
      return "the helper gave no lease";
    case DeepHold::notInForce:
      return "the hold is asked for, not in force";
    case DeepHold::lapsed:
      return "the lease was not renewed";
    case DeepHold::anothers:
      return "the helper holds for somebody else";
    case DeepHold::notAskedFor:
    case DeepHold::notYet:
    case DeepHold::held:
      break;
  }
  return nullptr;
}

// A hold that the helper keeps for somebody else; empty when there is none.
std::string othersHoldText(const StatusReport& report, Date now) {
  const auto& helper = report.helperStatus;
  if (!helper || !helper->isDeepHoldActive || !helper->leaseExpiresAt) return "";
  const DeepHold deep = inForceOf(report).deep;
  if (*helper->leaseExpiresAt <= now || (deep != DeepHold::anothers && deep != DeepHold::notAskedFor))
    return "";
  return "held for " + holderText(*helper) + ", until " + localMoment(*helper->leaseExpiresAt, now) +
         "; this host does not renew it";
}

std::string userName(uid_t user) {
  passwd entry{};
  passwd* found = nullptr;
  char buffer[4096];
  const bool isKnown = ::getpwuid_r(user, &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr;
  return isKnown ? printable(entry.pw_name) : std::to_string(user);
}

std::string reasonText(const WakeDecision::Hold& hold) {
  const auto seconds = debounceSeconds(hold);
  return seconds ? "the last agent has stopped, " + durationText(*seconds) + " to go" : hold.reason;
}

}  // namespace

HoldInForce inForceOf(const StatusReport& report) {
  if (report.inForce) return *report.inForce;
  HoldFacts facts{.isIdleHeld = report.idleAssertionActive, .helper = report.helperStatus};
  if (facts.helper) {
    facts.ownLeaseId = facts.helper->activeLeaseId;
    facts.helper->leaseExpiresAt.reset();  // what is renewed is not told again
  }
  return holdInForce(report.currentDecision, facts, Date());
}

std::string missingText(const HoldInForce& force) {
  const char* idle = problemOf(force.idle);
  const char* deep = problemOf(force.deep);
  std::string text = idle != nullptr ? idle : "";
  if (deep != nullptr) text += text.empty() ? "" : "; ";
  if (force.deep == DeepHold::anothers)
    text += "a closed lid suspends once the helper's hold for somebody else ends";
  else if (deep != nullptr)
    text += std::string("a closed lid suspends: ") + deep;
  return text;
}

std::string idleHoldText(const HoldInForce& force) {
  if (const char* problem = problemOf(force.idle)) return std::string("not held: ") + problem;
  if (force.idle == IdleHold::notYet) return "asked for";
  return force.idle == IdleHold::held ? "held off" : "not held";
}

std::string holderText(const DeepSleepStatus& helper) {
  if (!helper.holderUserId) return "another user, or an earlier host of this user";
  if (*helper.holderUserId == static_cast<std::int64_t>(::geteuid())) return "an earlier host of this user";
  return "user " + userName(static_cast<uid_t>(*helper.holderUserId));
}

std::string deepHoldText(const StatusReport& report, Date now) {
  const HoldInForce force = inForceOf(report);
  const auto& helper = report.helperStatus;
  if (force.deep == DeepHold::notYet) return "asked for";
  if (force.deep == DeepHold::held) {
    if (!asksForDeepHold(report.currentDecision)) return "held by the helper until this hold ends";
    std::string text = "held by the helper, also with the lid closed";
    if (helper && helper->leaseExpiresAt)
      text += "; renewed while needed, lease until " + localMoment(*helper->leaseExpiresAt, now);
    return text;
  }
  if (const std::string text = othersHoldText(report, now); !text.empty()) return text;
  if (const char* problem = problemOf(force.deep))
    return std::string("not held: ") + problem + ", so a closed lid suspends";
  const bool isOff = helper && helper->currentSystemSleepDisabled && !helper->isDeepHoldActive;
  return isOff ? "sleep is off, but not by Vigilo" : "not held";
}

std::string holdLine(const WakeDecision& decision, const HoldInForce& force) {
  if (const auto* blocked = decision.blocked())
    return "sleep allowed on purpose: " + std::string(rawValue(blocked->block));
  if (const auto* release = decision.release()) return "sleep allowed: " + release->reason;
  const std::string reason = reasonText(*decision.hold());
  if (force.state == HoldState::notHeld) return "cannot hold: " + reason + "; " + missingText(force);
  if (force.state == HoldState::partlyHeld) return "holding: " + reason + "; but " + missingText(force);
  return "holding: " + reason + (asksForDeepHold(decision) ? "; also with the lid closed" : "");
}

}  // namespace vigilo
