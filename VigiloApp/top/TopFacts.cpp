#include "VigiloApp/top/TopFacts.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/HoldText.h"
#include "VigiloApp/top/TopParts.h"

namespace vigilo {
namespace {

struct Fact {
  const char* label;
  Line value;
};

Line idleSleep(IdleHold idle) {
  switch (idle) {
    case IdleHold::held:
      return Line("held off", Style::good);
    case IdleHold::refused:
      return Line("refused", Style::bad);
    case IdleHold::noAnswer:
      return Line("no answer", Style::bad);
    case IdleHold::notYet:
      return Line("asked for", Style::dim);
    case IdleHold::notAskedFor:
      break;
  }
  return Line("not held", Style::dim);
}

// Nobody asks for it, or it is not known.
Line deepSleepUnasked(const std::optional<DeepSleepStatus>& helper) {
  if (!helper) return Line("not held", Style::dim);
  if (helper->isDeepHoldActive) return Line("not by this host", Style::dim);
  if (helper->currentSystemSleepDisabled) return Line("off, not by Vigilo", Style::warn);
  return Line(helper->isHelperInstalled ? "not held, helper ok" : "not held, no helper", Style::dim);
}

Line deepSleep(const StatusReport& report) {
  switch (inForceOf(report).deep) {
    case DeepHold::held:
      return Line("held off by helper", Style::good);
    case DeepHold::noHelper:
      return Line("not held, no helper", Style::warn);
    case DeepHold::noAnswer:
      return Line("no answer", Style::warn);
    case DeepHold::noLease:
      return Line("no lease given", Style::warn);
    case DeepHold::notInForce:
      return Line("asked, not in force", Style::bad);
    case DeepHold::lapsed:
      return Line("lease has lapsed", Style::bad);
    case DeepHold::anothers:
      return Line("not by this host", Style::warn);
    case DeepHold::notYet:
      return Line("asked for", Style::dim);
    case DeepHold::notAskedFor:
      break;
  }
  return deepSleepUnasked(report.helperStatus);
}

Line battery(const StatusReport& report, const Glyphs& glyphs) {
  const auto percent = report.powerSource.batteryPercent;
  if (!percent) return Line(report.powerSource.isOnAC ? "none" : "not known", Style::dim);
  const int floor = report.settings.batteryFloorPercent;
  const bool drains = !report.powerSource.isOnAC;
  const Style style = drains && *percent <= floor        ? Style::bad
                      : drains && *percent <= floor + 10 ? Style::warn
                                                         : Style::plain;
  Line line = barLine(*percent, 8, style == Style::plain ? Style::good : style, glyphs);
  return line.add(" " + std::to_string(*percent) + " %", style);
}

Line power(const StatusReport& report) {
  const PowerSourceSnapshot& power = report.powerSource;
  if (power.isOnAC) return Line(power.isCharging ? "on AC, charging" : "on AC");
  if (power.timeRemainingMinutes) return Line(durationText(*power.timeRemainingMinutes * 60.0) + " left");
  return Line(power.isLowPowerMode ? "battery, saving" : "on battery");
}

Line thermal(const StatusReport& report) {
  const Style style = report.thermalState == SystemThermalState::critical  ? Style::badStrong
                      : report.thermalState == SystemThermalState::serious ? Style::warn
                                                                           : Style::plain;
  return Line(rawValue(report.thermalState), style);
}

// In the order of their importance.
std::vector<Fact> factsOf(const TopModel& model, const Glyphs& glyphs) {
  const char* const labels[] = {"Idle sleep", "Battery", "Thermal", "Deep sleep", "Power", "Lid"};
  std::vector<Fact> facts;
  if (!model.report) {
    for (const char* label : labels) facts.push_back({label, Line("-", Style::dim)});
    return facts;
  }
  const StatusReport& report = *model.report;
  const Line values[] = {idleSleep(inForceOf(report).idle),
                         battery(report, glyphs),
                         thermal(report),
                         deepSleep(report),
                         power(report),
                         Line(report.isLidClosed ? "closed" : "open")};
  for (std::size_t i = 0; i < std::size(labels); ++i) facts.push_back({labels[i], values[i]});
  return facts;
}

// Where the columns of facts begin, for as many as fit.
std::vector<int> factColumns(int width) {
  constexpr int most = 120;  // wider than this, facts would only drift apart
  const int extra = (std::min(width, most) - 80) / 3;
  if (width >= 80) return {2, 35 + extra, 62 + 2 * extra};
  if (width >= 60) return {2, 35};
  return {2};
}

}  // namespace

std::vector<Line> topFacts(const TopView& view, int height) {
  constexpr int labelWidth[] = {12, 9, 9};
  const auto facts = factsOf(view.model, view.glyphs);
  const auto columns = factColumns(view.width);
  std::vector<Line> lines;
  for (std::size_t at = 0; at < facts.size() && static_cast<int>(lines.size()) < height;) {
    Line line;
    for (std::size_t column = 0; column < columns.size() && at < facts.size(); ++column, ++at) {
      line.to(columns[column]).add(facts[at].label, Style::dim);
      line.to(columns[column] + (columns.size() < 3 ? 12 : labelWidth[column])).add(facts[at].value);
    }
    lines.push_back(line.cut(view.width, view.glyphs.ellipsis));
  }
  return lines;
}

}  // namespace vigilo
