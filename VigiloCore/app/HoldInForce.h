#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "helper/HelperProtocol.h"
#include "policy/WakeDecision.h"
#include "support/Date.h"
#include "support/RecordFields.h"

// How far that is in force which was decided. What people are told of a hold follows from this, never from
// the decision alone. Plain values and pure functions; thread-safe.
namespace vigilo {

enum class HoldState {
  released,
  blocked,
  notYet,      // asked for a moment ago
  held,        // all that was decided on
  partlyHeld,  // one of the two holds
  notHeld,     // neither, although it was decided on
};

template <>
struct RawValues<HoldState> {
  static constexpr std::array table{
      std::pair{HoldState::released, std::string_view("released")},
      std::pair{HoldState::blocked, std::string_view("blocked")},
      std::pair{HoldState::notYet, std::string_view("notYet")},
      std::pair{HoldState::held, std::string_view("held")},
      std::pair{HoldState::partlyHeld, std::string_view("partlyHeld")},
      std::pair{HoldState::notHeld, std::string_view("notHeld")},
  };
};

// The hold against falling asleep for want of input.
enum class IdleHold { notAskedFor, notYet, held, refused, noAnswer };

template <>
struct RawValues<IdleHold> {
  static constexpr std::array table{
      std::pair{IdleHold::notAskedFor, std::string_view("notAskedFor")},
      std::pair{IdleHold::notYet, std::string_view("notYet")},
      std::pair{IdleHold::held, std::string_view("held")},
      std::pair{IdleHold::refused, std::string_view("refused")},
      std::pair{IdleHold::noAnswer, std::string_view("noAnswer")},
  };
};

// The hold that survives a closed lid.
enum class DeepHold {
  notAskedFor,
  notYet,
  held,  // under this host's own lease; also one that is no longer asked for
  noHelper,
  noAnswer,
  noLease,     // the helper gave none
  notInForce,  // the helper gave one, and the machine may sleep all the same
  lapsed,      // its end is past
  anothers,    // the helper holds for somebody else
};

template <>
struct RawValues<DeepHold> {
  static constexpr std::array table{
      std::pair{DeepHold::notAskedFor, std::string_view("notAskedFor")},
      std::pair{DeepHold::notYet, std::string_view("notYet")},
      std::pair{DeepHold::held, std::string_view("held")},
      std::pair{DeepHold::noHelper, std::string_view("noHelper")},
      std::pair{DeepHold::noAnswer, std::string_view("noAnswer")},
      std::pair{DeepHold::noLease, std::string_view("noLease")},
      std::pair{DeepHold::notInForce, std::string_view("notInForce")},
      std::pair{DeepHold::lapsed, std::string_view("lapsed")},
      std::pair{DeepHold::anothers, std::string_view("anothers")},
  };
};

struct HoldInForce {
  HoldState state = HoldState::released;
  IdleHold idle = IdleHold::notAskedFor;
  DeepHold deep = DeepHold::notAskedFor;

  bool operator==(const HoldInForce&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("state", &HoldInForce::state), field("idle", &HoldInForce::idle),
                      field("deep", &HoldInForce::deep)};
  }
};

// What the services said since the present decision.
struct HoldFacts {
  std::optional<bool> isIdleHeld;         // absent as long as nothing was said
  std::optional<DeepSleepStatus> helper;  // likewise
  std::optional<std::string> ownLeaseId;  // of this host; absent without one
  Date askedAt;                           // since when as much is asked for as now
};

// For so long a service that has said nothing is waited for; then it counts as one that does not answer.
inline constexpr double answerPatienceSeconds = 5;

HoldInForce holdInForce(const WakeDecision& decision, const HoldFacts& facts, Date now);

}  // namespace vigilo
