#include "VigiloApp/top/TopAgents.h"

#include <algorithm>
#include <string>
#include <utility>

#include "VigiloApp/commands/StatusText.h"
#include "VigiloApp/top/DisplayText.h"
#include "VigiloApp/top/TopParts.h"
#include "agents/ProcessSession.h"
#include "app/AgentFamilyPresentation.h"

namespace vigilo {
namespace {

using Family = AgentFamilyPresentation;

// A process that was there at the last report is still there: the host tells only when it goes.
std::vector<Family> familiesOf(const TopModel& model) {
  std::vector<AgentSession> sessions = model.report->activeSessionsList;
  for (AgentSession& session : sessions)
    if (isProcessSession(session)) session.lastEventAt = model.now;
  auto families = Family::buildFamilies(sessions, model.report->latestBudgetReports, model.now);
  // Not by their newest event: lines that change places with every hook cannot be read.
  std::ranges::sort(families, {}, [](const Family& family) {
    return std::pair(!isActivelyWorking(family.aggregateState), family.agentType);
  });
  return families;
}

Style styleOf(AgentState state) {
  switch (state) {
    case AgentState::working:
      return Style::good;
    case AgentState::waiting:
      return Style::warn;
    case AgentState::error:
      return Style::bad;
    case AgentState::completed:
      return Style::plain;
    default:
      return Style::dim;
  }
}

constexpr int sessionColumn = 19;
constexpr int startedFrom = 90;  // columns, to say when a session began

Line familyHead(const Family& family, const TopView& view) {
  Line line("  ");
  line.add(view.glyphs.of(family.aggregateState), styleOf(family.aggregateState))
      .add(" ")
      .add(family.displayName, Style::strong);
  if (const auto alert = family.lowBudgetAlert()) {
    const Style style = alert->level == LowBudgetLevel::warning ? Style::warn : Style::bad;
    line.add(" ").add(view.glyphs.alert, style);
  }
  return line.to(std::max(line.width() + 1, sessionColumn));
}

// How long ago an agent last spoke; of a process, how long it has been there.
std::string ageOf(const AgentSession& session, Date now) {
  if (isProcessSession(session)) return "for " + shortDuration(now - session.startedAt);
  return shortDuration(now - session.lastEventAt) + " ago";
}

// State, age, place and identifier; the first two stay where not all fit.
Line& addSession(Line& line, const AgentSession& session, const TopView& view) {
  const TopModel& model = view.model;
  line.to(sessionColumn).add(view.glyphs.of(session.state), styleOf(session.state)).add(" ");
  line.add(displayLabel(session.state), styleOf(session.state)).to(sessionColumn + 13);
  line.add(ageOf(session, model.now)).to(sessionColumn + 24);
  if (view.width >= startedFrom) {
    line.add("since " + localTime(session.startedAt).substr(0, 5), Style::dim).to(sessionColumn + 37);
  }
  const int left = view.width - line.width() - 1;
  const int idWidth = std::clamp(left / 3, left >= 22 ? 9 : 0, 18);
  const int pathWidth = std::max(left - idWidth - 2, 0);
  const int idColumn = line.width() + pathWidth + 2;
  if (session.cwd)
    line.add(shortPath(*session.cwd, model.home, pathWidth, view.glyphs));
  else if (session.hostAppName)
    line.add(fitted(shown(*session.hostAppName), pathWidth, view.glyphs.ellipsis));
  if (idWidth >= 6)
    line.to(idColumn).add(fitted(shown(session.id), idWidth, view.glyphs.ellipsis), Style::dim);
  return line.cut(view.width, view.glyphs.ellipsis);
}

// One line where the family is one session; otherwise a line for each below the family's own.
void addFamily(const Family& family, const TopView& view, std::vector<Line>& lines) {
  Line head = familyHead(family, view);
  if (family.sessions.size() == 1) {
    lines.push_back(addSession(head, family.sessions.front(), view));
    return;
  }
  lines.push_back(head.add(family.summarySubtitle(), Style::dim).cut(view.width, view.glyphs.ellipsis));
  for (const AgentSession& session : family.sessions) {
    Line line;
    lines.push_back(addSession(line, session, view));
  }
}

std::vector<Line> allLines(const TopView& view) {
  std::vector<Line> lines;
  if (!view.model.report) return lines;
  for (const Family& family : familiesOf(view.model)) addFamily(family, view, lines);
  if (const auto omitted = view.model.report->omittedSessions)
    lines.push_back(Line("  and " + std::to_string(*omitted) + " older ones", Style::dim));
  if (lines.empty()) lines.push_back(Line("  No agent is running.", Style::dim));
  return lines;
}

Line remark(const TopView& view, int first, int shownLines, int all) {
  if (!view.model.report) return {};
  if (all > shownLines) {
    std::string text = std::to_string(first + 1) + "-" + std::to_string(first + shownLines) + " of " +
                       std::to_string(all) + " ";
    return Line(text, Style::dim)
        .add(view.glyphs.up, first > 0 ? Style::strong : Style::faint)
        .add(view.glyphs.down, first + shownLines < all ? Style::strong : Style::faint);
  }
  const auto& sessions = view.model.report->activeSessionsList;
  if (sessions.empty()) return {};
  const auto active =
      std::ranges::count_if(sessions, [](const auto& session) { return session.isWorking(); });
  return Line(std::to_string(sessions.size()) + (sessions.size() == 1 ? " session, " : " sessions, ") +
                  std::to_string(active) + " active",
              Style::dim);
}

}  // namespace

ScrolledLines topAgents(const TopView& view, int height) {
  const auto all = allLines(view);
  const int count = static_cast<int>(all.size());
  const int room = std::max(height - 1, 0);
  ScrolledLines result;
  result.scroll = std::clamp(view.model.scroll, 0, std::max(count - room, 0));
  const int end = std::min(result.scroll + room, count);
  result.lines.push_back(
      ruleLine("Agents", remark(view, result.scroll, end - result.scroll, count), view.width, view.glyphs));
  for (int i = result.scroll; i < end; ++i) result.lines.push_back(all[static_cast<std::size_t>(i)]);
  result.lines.resize(static_cast<std::size_t>(std::max(height, 0)));
  return result;
}

}  // namespace vigilo
