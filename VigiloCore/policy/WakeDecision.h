#pragma once

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "support/RecordFields.h"

namespace vigilo {

// Why protection is deliberately withheld. The raw value is both what the user reads and the serialised form.
enum class SafetyBlock {
  masterDisabled,
  paused,
  batteryBelowFloor,
  acDisconnected,
  thermalCritical,
  manualSleepRequested,  // for callers that force sleep on the user's request; the engine never produces it
};

template <>
struct RawValues<SafetyBlock> {
  static constexpr std::array table{
      std::pair{SafetyBlock::masterDisabled, std::string_view("Master switch disabled")},
      std::pair{SafetyBlock::paused, std::string_view("Protection paused")},
      std::pair{SafetyBlock::batteryBelowFloor, std::string_view("Battery level below safety cutoff")},
      std::pair{SafetyBlock::acDisconnected, std::string_view("AC power disconnected (AC-only mode)")},
      std::pair{SafetyBlock::thermalCritical, std::string_view("Thermal critical safety cutoff")},
      std::pair{SafetyBlock::manualSleepRequested, std::string_view("Manual system sleep requested")}};
};

// Whether the block protects the hardware or was asked for outright; the others are states of configuration.
constexpr bool isCriticalSafety(SafetyBlock block) {
  return block == SafetyBlock::batteryBelowFloor || block == SafetyBlock::thermalCritical ||
         block == SafetyBlock::manualSleepRequested;
}

// What the wake policy decides: hold the machine awake, release it, or withhold protection. A plain value,
// compared structurally. JSON (RecordCoder): an object with one key that names the case, holding the case's
// payload.
class WakeDecision {
 public:
  struct Hold {
    std::string reason;
    int activeAgentCount = 0;
    bool requiresDeepHold = false;  // also the hold that survives a closed lid
    bool operator==(const Hold&) const = default;
    static constexpr auto fields() {
      return std::tuple{field("reason", &Hold::reason), field("activeAgentCount", &Hold::activeAgentCount),
                        field("requiresDeepHold", &Hold::requiresDeepHold)};
    }
  };
  struct Release {
    std::string reason;
    bool operator==(const Release&) const = default;
    static constexpr auto fields() { return std::tuple{field("reason", &Release::reason)}; }
  };
  struct Blocked {
    SafetyBlock block{};
    bool operator==(const Blocked&) const = default;
    static constexpr auto fields() { return std::tuple{field("block", &Blocked::block)}; }
  };

  WakeDecision() = default;
  WakeDecision(Hold hold) : value_(std::move(hold)) {}
  WakeDecision(Release release) : value_(std::move(release)) {}
  WakeDecision(Blocked blocked) : value_(blocked) {}

  bool isHolding() const { return hold() != nullptr; }
  bool isBlocked() const { return blocked() != nullptr; }
  bool isBlocked(SafetyBlock by) const { return isBlocked() && blocked()->block == by; }

  // Null when the decision is another case.
  const Hold* hold() const { return std::get_if<Hold>(&value_); }
  const Release* release() const { return std::get_if<Release>(&value_); }
  const Blocked* blocked() const { return std::get_if<Blocked>(&value_); }

  // "Active (2 working agents) — Claude Code, Codex CLI working", "Sleep enabled — ...", "Safety blocked:
  // ...".
  std::string statusDescription() const;

  bool operator==(const WakeDecision&) const = default;

 private:
  std::variant<Release, Hold, Blocked> value_;
};

}  // namespace vigilo
