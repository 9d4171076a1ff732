#include "VigiloApp/host/TerminalReport.h"

#include <cstdio>

#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/commands/StatusText.h"

namespace vigilo {

void TerminalReport::introduce(const std::string& lines) {
  introduced_ = true;
  std::fputs(lines.c_str(), stdout);
  std::fflush(stdout);
}

void TerminalReport::show(const WakeDecision& decision, const std::optional<DeepSleepStatus>& helper,
                          Date now) {
  if (!introduced_) return;
  if (!shown_ || isNews(*shown_, decision)) line(now, decisionLine(decision), briefDecisionLine(decision));
  shown_ = decision;
  const auto problem = deepHoldProblem(decision, helper);
  if (problem != problem_) {
    if (problem)
      line(now, "  the deep hold is " + *problem, "the deep hold is " + *problem);
    else if (decision.isHolding())
      line(now, "  the deep hold is in force", "the deep hold is in force");
  }
  problem_ = problem;
}

void TerminalReport::line(Date now, const std::string& text, const std::string& inFewWords) {
  if (onNews) onNews(inFewWords);
  std::printf("%s %s\n", localTime(now).c_str(), text.c_str());
  std::fflush(stdout);
}

}  // namespace vigilo
