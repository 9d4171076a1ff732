#include "VigiloApp/TerminalReport.h"

#include <cstdio>

#include "VigiloApp/StatusText.h"

namespace vigilo {

void TerminalReport::introduce(const std::string& lines) {
  introduced_ = true;
  std::fputs(lines.c_str(), stdout);
  std::fflush(stdout);
}

void TerminalReport::show(const StatusReport& report, Date now) {
  if (!introduced_) return;
  if (!shown_ || isNews(*shown_, report.currentDecision)) line(now, decisionLine(report.currentDecision));
  shown_ = report.currentDecision;
  const auto problem = deepHoldProblem(report.currentDecision, report.helperStatus);
  if (problem != problem_) {
    if (problem)
      line(now, "  the deep hold is " + *problem);
    else if (report.currentDecision.isHolding())
      line(now, "  the deep hold is in force");
  }
  problem_ = problem;
}

void TerminalReport::line(Date now, const std::string& text) {
  std::printf("%s %s\n", localTime(now).c_str(), text.c_str());
  std::fflush(stdout);
}

}  // namespace vigilo
