#include "VigiloApp/top/TopDecision.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "VigiloApp/DurationText.h"
#include "VigiloApp/StatusText.h"
#include "VigiloApp/top/BigWord.h"
#include "VigiloApp/top/DisplayText.h"
#include "VigiloApp/top/TopParts.h"

namespace vigilo {
namespace {

using Connection = TopModel::Connection;

struct Headline {
  const char* word = "";
  Style style = Style::plain;
  std::string reason;
  std::string time;
  std::string next;
  Style nextStyle = Style::dim;
};

std::string agentCount(int count) {
  return std::to_string(count) + (count == 1 ? " agent" : " agents");
}

// Why a closed lid would suspend although the decision asks for more; empty when it would not, or when that
// is not known yet.
std::string lidProblem(const StatusReport& report) {
  if (!deepHoldProblem(report.currentDecision, report.helperStatus)) return {};
  if (!report.helperStatus->isHelperInstalled) return "a closed lid suspends: no helper runs";
  if (report.helperStatus->isAskedForButNotInForce()) return "a closed lid suspends: asked for, not in force";
  return "a closed lid suspends: the helper gave no lease";
}

std::string endOfHold(const TopModel& model, const WakeDecision::Hold& hold) {
  const StatusReport& report = *model.report;
  std::string text;
  if (report.settings.manualHoldEnabled)
    text = "held by hand, h lets go";
  else if (debounceSeconds(hold))
    text = "unless an agent works again before";
  else
    text = "until " + durationText(report.settings.releaseDelaySeconds) + " after the last agent";
  if (report.powerSource.isOnAC) return text;
  if (report.settings.onlyOnAC) return text + ", or at once";
  return text + ", or " + std::to_string(report.settings.batteryFloorPercent) + " % battery";
}

std::string holdReason(const TopModel& model, const WakeDecision::Hold& hold) {
  if (const auto seconds = debounceSeconds(hold)) {
    const double left = std::max(0.0, *seconds - (model.now - model.reportedAt));
    return "All agents have stopped; sleep in " + durationText(std::ceil(left));
  }
  return hold.reason;
}

Headline ofHold(const TopModel& model, const WakeDecision::Hold& hold) {
  const StatusReport& report = *model.report;
  Headline headline{.word = "AWAKE", .style = Style::goodStrong, .reason = shown(holdReason(model, hold))};
  if (report.protectionStartedAt) {
    headline.time = "for " + durationText(std::max(0.0, model.now - *report.protectionStartedAt)) +
                    ", since " + localTime(*report.protectionStartedAt);
  }
  if (hold.activeAgentCount > 0)
    headline.time += (headline.time.empty() ? "" : ", ") + agentCount(hold.activeAgentCount);
  headline.next = endOfHold(model, hold);
  if (const std::string problem = lidProblem(report); !problem.empty()) {
    headline.style = Style::warnStrong;
    headline.next = problem;
    headline.nextStyle = Style::warn;
  }
  return headline;
}

Headline ofBlock(const TopModel& model, SafetyBlock block) {
  const StatusReport& report = *model.report;
  Headline headline{.style = isCriticalSafety(block) ? Style::badStrong : Style::warnStrong,
                    .reason = std::string(rawValue(block)),
                    .time = "the machine may sleep, whatever agents do"};
  switch (block) {
    case SafetyBlock::masterDisabled:
      headline.word = "OFF";
      headline.next = "e turns protection on";
      break;
    case SafetyBlock::paused:
      headline.word = "PAUSED";
      if (report.pauseUntil) {
        headline.time = durationText(std::ceil(std::max(0.0, *report.pauseUntil - model.now))) +
                        " left, until " + localTime(*report.pauseUntil);
      }
      headline.next = "r ends the pause";
      break;
    case SafetyBlock::batteryBelowFloor:
      headline.word = "BATTERY";
      headline.next = "back on AC, or at " + std::to_string(report.settings.batteryFloorPercent + 3) + " %";
      break;
    case SafetyBlock::acDisconnected:
      headline.word = "NO AC";
      headline.next = "back on AC (setting onlyOnAC)";
      break;
    case SafetyBlock::thermalCritical:
      headline.word = "TOO HOT";
      headline.next = "back when the machine has cooled down";
      break;
    case SafetyBlock::manualSleepRequested:
      headline.word = "SLEEP";
      headline.next = "back after the sleep";
      break;
  }
  return headline;
}

Headline withoutReport(const TopModel& model) {
  switch (model.connection) {
    case Connection::noHost:
      return {.word = "NO HOST",
              .style = Style::warnStrong,
              .reason = model.lostAt ? "The host went away at " + localTime(*model.lostAt)
                                     : std::string("No host runs, so nothing is held"),
              .time = "start one with: vigilo run",
              .next = "looking again every second"};
    case Connection::notAnswering:
      return {.word = "NO HOST",
              .style = Style::badStrong,
              .reason = "The host gives no answer that is of use",
              .time = shown(model.trouble),
              .next = "asking again every second"};
    case Connection::connecting:
    case Connection::live:
      break;
  }
  return {.word = "", .reason = "", .time = "asking the host", .next = ""};
}

Headline headlineOf(const TopModel& model) {
  if (!model.report) return withoutReport(model);
  const WakeDecision& decision = model.report->currentDecision;
  if (const auto* hold = decision.hold()) return ofHold(model, *hold);
  if (const auto* blocked = decision.blocked()) return ofBlock(model, blocked->block);
  return {.word = "SLEEP OK",
          .style = Style::strong,
          .reason = shown(decision.release()->reason),
          .time = "nothing is held",
          .next = "an agent that works takes a hold, or h by hand"};
}

struct Fact {
  const char* label;
  Line value;
};

Line idleSleep(const StatusReport& report) {
  if (report.idleAssertionActive) return Line("held off", Style::good);
  return report.currentDecision.isHolding() ? Line("not held yet", Style::warn)
                                            : Line("not held", Style::dim);
}

Line deepSleep(const StatusReport& report) {
  const auto* hold = report.currentDecision.hold();
  const auto& helper = report.helperStatus;
  if (hold != nullptr && hold->requiresDeepHold) {
    if (!helper) return Line("asked for", Style::dim);
    if (!helper->isHelperInstalled) return Line("not held, no helper", Style::warn);
    if (helper->isAskedForButNotInForce()) return Line("asked, not in force", Style::bad);
    if (!helper->isDeepHoldActive) return Line("no lease given", Style::warn);
    return Line("held off by helper", Style::good);
  }
  if (!helper) return Line("not held", Style::dim);
  if (helper->currentSystemSleepDisabled) return Line("off, not by Vigilo", Style::warn);
  return Line(helper->isHelperInstalled ? "not held, helper ok" : "not held, no helper", Style::dim);
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
  const Line values[] = {idleSleep(report), battery(report, glyphs),
                         thermal(report),   deepSleep(report),
                         power(report),     Line(report.isLidClosed ? "closed" : "open")};
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

// What the agents do, all together.
Line overall(const TopView& view) {
  if (!view.model.report) return {};
  switch (const auto state = view.model.report->dominantVisualState) {
    case VigiloVisualState::working:
      return Line(view.glyphs.working, Style::good).add(" ").add(displayLabel(state), Style::good);
    case VigiloVisualState::waiting:
      return Line(view.glyphs.waiting, Style::warn).add(" ").add(displayLabel(state), Style::warn);
    case VigiloVisualState::error:
      return Line(view.glyphs.error, Style::bad).add(" ").add(displayLabel(state), Style::bad);
    case VigiloVisualState::completed:
    case VigiloVisualState::idle:
      return Line(view.glyphs.idle, Style::dim).add(" ").add(displayLabel(state), Style::dim);
  }
  return {};
}

Line connectionMark(const TopView& view) {
  switch (view.model.connection) {
    case Connection::live:
      return overall(view);
    case Connection::connecting:
      return Line(view.glyphs.ring, Style::dim).add(" asking", Style::dim);
    case Connection::noHost:
      return Line(view.glyphs.ring, Style::warn).add(" no host", Style::warn);
    case Connection::notAnswering:
      break;
  }
  return Line(view.glyphs.alert, Style::bad).add(" no answer", Style::bad);
}

}  // namespace

Line topHeader(const TopView& view) {
  Line right = connectionMark(view);
  right.add("  " + localTime(view.model.now), Style::dim);
  Line line("  vigilo", Style::accent);
  const Line purpose("  keeps this machine awake while agents work", Style::dim);
  if (line.width() + purpose.width() + right.width() + 4 <= view.width) line.add(purpose);
  return line.to(view.width - right.width() - 2).add(right).cut(view.width, "");
}

std::vector<Line> topBanner(const TopView& view) {
  const Headline headline = headlineOf(view.model);
  const auto word = bigWord(headline.word, view.glyphs);
  const Line beside[] = {Line(headline.reason, Style::strong), Line(headline.time),
                         Line(headline.next, headline.nextStyle)};
  std::vector<Line> lines;
  for (std::size_t i = 0; i < word.size(); ++i) {
    Line line("  ");
    line.add(word[i], headline.style);
    if (!word[i].empty()) line.add("   ");
    lines.push_back(line.add(beside[i]).cut(view.width, view.glyphs.ellipsis));
  }
  return lines;
}

std::vector<Line> topSmallBanner(const TopView& view) {
  const Headline headline = headlineOf(view.model);
  const std::string_view separator = view.glyphs.separator;
  const auto joined = [&](Line line, const std::string& text, Style style) {
    if (text.empty()) return line;
    return line.add(" " + std::string(separator) + " ", Style::faint).add(text, style);
  };
  Line first("  ");
  first = joined(first.add(headline.word, headline.style), headline.reason, Style::strong);
  Line second("  ");
  second = joined(second.add(headline.time), headline.next, headline.nextStyle);
  return {first.cut(view.width, view.glyphs.ellipsis), second.cut(view.width, view.glyphs.ellipsis)};
}

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
