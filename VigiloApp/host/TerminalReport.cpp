#include "VigiloApp/host/TerminalReport.h"

#include <cstdio>
#include <utility>

#include "VigiloApp/commands/HoldText.h"
#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/commands/StatusText.h"

namespace vigilo {

void TerminalReport::introduce(const std::string& lines) {
  introduced_ = true;
  std::fputs(lines.c_str(), stdout);
  std::fflush(stdout);
}

void TerminalReport::show(const WakeDecision& decision, const HoldInForce& force, Date now) {
  if (!introduced_ || force.state == HoldState::notYet) return;
  const bool isNewForce =
      !shown_ || (decision.isHolding() ? shown_->force != force : shown_->decision != decision);
  if (!isNewForce && !isNews(shown_->decision, decision)) return;
  shown_ = Shown{decision, force};
  std::string line = holdLine(decision, force);
  if (const auto* hold = decision.hold(); hold != nullptr && !debounceSeconds(*hold))
    lastReason_ = hold->reason;
  else if (hold == nullptr && !lastReason_.empty())
    line += " (before: " + std::exchange(lastReason_, {}) + ")";
  if (isNewForce && onDecision) onDecision(line);
  std::printf("%s %s\n", localTime(now).c_str(), line.c_str());
  std::fflush(stdout);
}

}  // namespace vigilo
