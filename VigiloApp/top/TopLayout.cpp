#include "VigiloApp/top/TopLayout.h"

#include <algorithm>
#include <string>
#include <utility>

#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/top/DisplayText.h"
#include "VigiloApp/top/TopAgents.h"
#include "VigiloApp/top/TopDecision.h"
#include "VigiloApp/top/TopFacts.h"
#include "VigiloApp/top/TopParts.h"
#include "VigiloApp/top/TopUsage.h"

namespace vigilo {
namespace {

constexpr int twoColumnsFrom = 110;

struct Key {
  const char* key;
  const char* name;
};

void append(std::vector<Line>& lines, std::vector<Line> more) {
  for (Line& line : more) lines.push_back(std::move(line));
}

std::string withShortHome(std::string_view text, const std::string& home) {
  std::string result;
  const std::string below = home + "/";
  for (auto at = text.find(below); home.size() > 1 && at != std::string::npos; at = text.find(below)) {
    result.append(text.substr(0, at)).append("~/");
    text.remove_prefix(at + below.size());
  }
  return result.append(text);
}

// "10:32:01", or "10:32" where there is little room; "Sat 10:32" for another day than today.
std::string logTime(Date at, const TopView& view) {
  const std::string moment = localMoment(at, view.model.now);
  const auto time = moment.rfind(' ');
  if (time == std::string::npos) return moment.substr(0, view.width < 60 ? 5 : 8);
  return moment.substr(0, 3) + moment.substr(time, 6);
}

std::vector<Line> recentLines(const TopView& view, int height) {
  std::vector<Line> lines{ruleLine("Recent", {}, view.width, view.glyphs)};
  const auto& log = view.model.recentLog;
  const auto room = static_cast<std::size_t>(std::max(height - 1, 0));
  for (std::size_t i = log.size() - std::min(room, log.size()); i < log.size(); ++i) {
    const Style style = log[i].isError                  ? Style::bad
                        : log[i].category == "decision" ? Style::plain
                                                        : Style::dim;
    Line line("  ");
    line.add(logTime(log[i].at, view), Style::dim).add("  ");
    line.add(withShortHome(shown(log[i].message), view.model.home), style);
    lines.push_back(line.cut(view.width, view.glyphs.ellipsis));
  }
  lines.resize(static_cast<std::size_t>(std::max(height, 0)));
  return lines;
}

std::vector<Line> helpLines(const TopView& view, int height) {
  static constexpr Key keys[] = {{"p", "pause protection: then 1, 2, 3 or 4 for how long"},
                                 {"r", "resume: end the pause"},
                                 {"h", "hold by hand, or let go again"},
                                 {"e", "enable or disable protection"},
                                 {"arrows, PgUp, PgDn", "scroll the sessions"},
                                 {"q", "quit; the host goes on"},
                                 {"", ""},
                                 {"AWAKE", "held: the machine does not fall asleep"},
                                 {"", "yellow: held in part; the line says what is missing"},
                                 {"NOT HELD", "it should be held, and cannot be"},
                                 {"SLEEP OK", "nothing is held"},
                                 {"PAUSED, OFF, ...", "sleep is allowed on purpose; the line says why"}};
  std::vector<Line> lines{ruleLine("Help", Line("any key closes", Style::dim), view.width, view.glyphs)};
  for (const auto& [key, name] : keys) {
    Line line("  ");
    line.add(key, Style::strong).to(view.width >= 60 ? 22 : 12).add(name[0] == 0 ? "" : " ").add(name);
    lines.push_back(line.cut(view.width, view.glyphs.ellipsis));
  }
  lines.resize(static_cast<std::size_t>(std::max(height, 0)));
  return lines;
}

Line keyLine(const TopView& view, const std::vector<Key>& keys, std::string_view head) {
  Line line("  ");
  line.add(head);
  for (const auto& [key, name] : keys) {
    Line next;
    next.add(key, Style::strong).add(" ").add(name, Style::dim).add("   ");
    if (line.width() + next.width() - 3 > view.width) break;
    line.add(next);
  }
  return line.cut(view.width, view.glyphs.ellipsis);
}

Line footer(const TopView& view) {
  const TopModel& model = view.model;
  if (model.mode == TopModel::Mode::pause) {
    return keyLine(view, {{"1", "15 min"}, {"2", "30 min"}, {"3", "1 h"}, {"4", "4 h"}, {"Esc", "cancel"}},
                   "pause for   ");
  }
  if (model.notice) {
    Line line("  ");
    line.add(shown(model.notice->text), model.notice->isError ? Style::badStrong : Style::strong);
    return line.cut(view.width, view.glyphs.ellipsis);
  }
  const bool holds = model.report && model.report->settings.manualHoldEnabled;
  const bool isOff = model.report && !model.report->settings.masterEnabled;
  return keyLine(view,
                 {{"q", "quit"},
                  {"p", "pause"},
                  {"r", "resume"},
                  {"h", holds ? "let go" : "hold"},
                  {"e", isOff ? "enable" : "disable"},
                  {"?", "help"}},
                 "");
}

// Lines for the upper part, as far as the height allows.
std::vector<Line> upperPart(const TopView& view, int height) {
  const bool isRoomy = height >= 20;
  std::vector<Line> lines;
  if (height >= 6) lines.push_back(topHeader(view));
  if (isRoomy) lines.emplace_back();
  append(lines, view.width >= 56 && height >= 14 ? topBanner(view) : topSmallBanner(view));
  if (height < 8) return lines;
  if (isRoomy) lines.emplace_back();
  append(lines, topFacts(view, view.width >= 80 ? (height >= 10 ? 2 : 1) : height >= 18 ? 3 : 1));
  if (height >= 28) lines.emplace_back();
  return lines;
}

// Two parts beside each other: the right one begins at a fixed column.
std::vector<Line> beside(std::vector<Line> left, const std::vector<Line>& right, int column) {
  for (std::size_t i = 0; i < left.size() && i < right.size(); ++i) left[i].to(column).add(right[i]);
  return left;
}

struct Body {
  std::vector<Line> lines;
  int scroll = 0;
  int scrollPage = 1;
};

Body twoColumns(const TopView& view, int height) {
  const int leftWidth = view.width * 56 / 100;
  const TopView left = view.within(leftWidth);
  const TopView right = view.within(view.width - leftWidth - 2);
  const int recent = std::clamp(height * 2 / 5, 0, 16);
  const int tokens = height >= 14 ? std::clamp(height * 2 / 5, 5, 12) : 0;
  auto agents = topAgents(left, height - recent);
  std::vector<Line> leftLines = std::move(agents.lines);
  append(leftLines, recentLines(left, recent));
  std::vector<Line> rightLines = topBudgets(right, height - tokens);
  append(rightLines, topTokens(right, tokens));
  return {beside(std::move(leftLines), rightLines, leftWidth + 2), agents.scroll, height - recent - 1};
}

Body oneColumn(const TopView& view, int height) {
  const int bottom = height >= 13 ? 5 + (height - 13) / 4 : 0;
  const int budgets = height - bottom >= 7 ? 4 + (height - bottom - 7) / 4 : 0;
  const int agents = height - bottom - budgets;
  auto sessions = topAgents(view, agents);
  Body body{std::move(sessions.lines), sessions.scroll, std::max(agents - 1, 1)};
  append(body.lines, topBudgets(view, budgets));
  if (view.width < 70) {
    append(body.lines, recentLines(view, bottom));
  } else {
    const int tokensWidth = std::min(30, view.width * 2 / 5);
    append(body.lines,
           beside(topTokens(view.within(tokensWidth), bottom),
                  recentLines(view.within(view.width - tokensWidth - 1), bottom), tokensWidth + 1));
  }
  return body;
}

}  // namespace

TopFrame layOutTop(const TopModel& model, int width, int height, const Glyphs& glyphs) {
  const TopView view{model, glyphs, width};
  TopFrame frame{.screen = {width, height, upperPart(view, height)}};
  std::vector<Line>& lines = frame.screen.lines;
  const int body = height - static_cast<int>(lines.size()) - 1;
  if (body > 0 && model.mode == TopModel::Mode::help) {
    append(lines, helpLines(view, body));
  } else if (body > 0) {
    Body parts = width >= twoColumnsFrom ? twoColumns(view, body) : oneColumn(view, body);
    frame.scroll = parts.scroll;
    frame.scrollPage = parts.scrollPage;
    append(lines, std::move(parts.lines));
  }
  lines.resize(static_cast<std::size_t>(std::max(height, 0)));
  if (height >= 4) lines.back() = footer(view);
  for (Line& line : lines) line.cut(width, "");
  if (!glyphs.isAscii) return frame;
  for (Line& line : lines) {
    Line ascii;
    for (const Span& span : line.spans()) ascii.add(asciiOnly(span.text), span.style);
    line = std::move(ascii);
  }
  return frame;
}

}  // namespace vigilo
