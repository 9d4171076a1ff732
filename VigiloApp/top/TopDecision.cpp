#include "VigiloApp/top/TopDecision.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/HoldText.h"
#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/commands/StatusText.h"
#include "VigiloApp/top/BigWord.h"
#include "VigiloApp/top/DisplayText.h"
#include "VigiloApp/top/TopParts.h"
#include "policy/PolicyConfiguration.h"

namespace vigilo {
namespace {

using Connection = TopModel::Connection;

struct Headline {
  std::string word;
  Style style = Style::plain;
  std::string reason;
  std::string time;
  std::string next;
  Style nextStyle = Style::dim;
};

std::string agentCount(int count) {
  return std::to_string(count) + (count == 1 ? " agent" : " agents");
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
  if (report.settings.onlyOnAC) return text + ", or without AC";
  if (report.powerSource.isOnAC) return text;
  return text + ", or " + std::to_string(report.settings.batteryFloorPercent) + " % battery";
}

std::string holdReason(const TopModel& model, const WakeDecision::Hold& hold) {
  if (const auto seconds = debounceSeconds(hold)) {
    const double left = std::max(0.0, *seconds - (model.now - model.reportedAt));
    return "All agents have stopped; sleep in " + durationText(std::ceil(left));
  }
  return hold.reason;
}

// Says what is missing of a hold.
void qualify(Headline& headline, const HoldInForce& force) {
  if (force.state == HoldState::notYet) {
    headline.word = "ASKING";
    headline.style = Style::strong;
  } else if (force.state == HoldState::partlyHeld) {
    headline.style = Style::warnStrong;
    headline.next = missingText(force);
    headline.nextStyle = Style::warn;
  } else if (force.state == HoldState::notHeld) {
    headline.word = "NOT HELD";
    headline.style = Style::badStrong;
    headline.next = missingText(force);
    headline.nextStyle = Style::bad;
  }
}

Headline ofHold(const TopModel& model, const WakeDecision::Hold& hold) {
  const StatusReport& report = *model.report;
  Headline headline{.word = "AWAKE", .style = Style::goodStrong, .reason = shown(holdReason(model, hold))};
  if (report.protectionStartedAt) {
    headline.time = "for " + durationText(std::max(0.0, model.now - *report.protectionStartedAt)) +
                    ", since " + localMoment(*report.protectionStartedAt, model.now);
  }
  if (hold.activeAgentCount > 0)
    headline.time += (headline.time.empty() ? "" : ", ") + agentCount(hold.activeAgentCount);
  headline.next = endOfHold(model, hold);
  qualify(headline, inForceOf(report));
  return headline;
}

const char* blockName(SafetyBlock block) {
  switch (block) {
    case SafetyBlock::masterDisabled:
      return "Off";
    case SafetyBlock::paused:
      return "Paused";
    case SafetyBlock::batteryBelowFloor:
      return "Battery";
    case SafetyBlock::acDisconnected:
      return "No AC";
    case SafetyBlock::thermalCritical:
      return "Too hot";
    case SafetyBlock::manualSleepRequested:
      break;
  }
  return "Sleep";
}

Headline ofBlock(const TopModel& model, SafetyBlock block) {
  const StatusReport& report = *model.report;
  Headline headline{.style = isCriticalSafety(block) ? Style::badStrong : Style::warnStrong,
                    .reason = std::string(rawValue(block)),
                    .time = "the machine may sleep, whatever agents do"};
  for (const char* letter = blockName(block); *letter != 0; ++letter)
    headline.word += static_cast<char>(std::toupper(static_cast<unsigned char>(*letter)));
  switch (block) {
    case SafetyBlock::masterDisabled:
      headline.next = "e turns protection on";
      break;
    case SafetyBlock::paused:
      if (report.pauseUntil) {
        headline.time = durationText(std::ceil(std::max(0.0, *report.pauseUntil - model.now))) +
                        " left, until " + localMoment(*report.pauseUntil, model.now);
      }
      headline.next = "r ends the pause";
      break;
    case SafetyBlock::batteryBelowFloor:
      headline.next = "back on AC, or at " +
                      std::to_string(report.settings.batteryFloorPercent +
                                     PolicyConfiguration{}.batteryHysteresisPercent) +
                      " %";
      break;
    case SafetyBlock::acDisconnected:
      headline.next = "back on AC (setting onlyOnAC)";
      break;
    case SafetyBlock::thermalCritical:
      headline.next = "back when the machine has cooled down";
      break;
    case SafetyBlock::manualSleepRequested:
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
              .reason = model.lostAt ? "The host went away at " + localMoment(*model.lostAt, model.now)
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

// What the agents do, all together; why they are not protected where that is so.
Line overall(const TopView& view) {
  if (!view.model.report) return {};
  if (const auto* blocked = view.model.report->currentDecision.blocked()) {
    const Style style = isCriticalSafety(blocked->block) ? Style::bad : Style::warn;
    return Line(view.glyphs.ring, style).add(" ").add(blockName(blocked->block), style);
  }
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

}  // namespace vigilo
