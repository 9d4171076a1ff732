#pragma once

#include <functional>
#include <optional>
#include <string>

#include "app/HoldInForce.h"
#include "policy/WakeDecision.h"
#include "support/Date.h"

namespace vigilo {

// What `vigilo run` says on standard output: a few lines at the start, then a line for each change of what is
// in force and of who is working. What was only just decided is not spoken of before it is known what became
// of it. Lives on the main queue.
class TerminalReport {
 public:
  // The lines of the start; nothing else is written before them.
  void introduce(const std::string& lines);
  // Called with each change of what is in force. May be empty.
  std::function<void(const std::string&)> onDecision;
  // The host has evaluated, or knows more about the holds.
  void show(const WakeDecision& decision, const HoldInForce& force, Date now);

 private:
  struct Shown {
    WakeDecision decision;
    HoldInForce force;
  };

  bool introduced_ = false;
  std::optional<Shown> shown_;
  std::string lastReason_;  // of the hold that was shown last, while agents worked
};

}  // namespace vigilo
