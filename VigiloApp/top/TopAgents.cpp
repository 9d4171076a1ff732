#include "VigiloApp/top/TopAgents.h"

#include <algorithm>
#include <string>
#include <utility>

#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/commands/SessionCounts.h"
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

// State, age and place; the first two stay where not all fit.
Line& addSession(Line& line, const AgentSession& session, const TopView& view) {
  const TopModel& model = view.model;
  line.to(sessionColumn).add(view.glyphs.of(session.state), styleOf(session.state)).add(" ");
  line.add(displayLabel(session.state), styleOf(session.state)).to(sessionColumn + 13);
  line.add(ageOf(session, model.now)).to(sessionColumn + 24);
  if (view.width >= startedFrom) {
    line.add("since " + localTime(session.startedAt).substr(0, 5), Style::dim).to(sessionColumn + 37);
  }
  if (session.cwd)
    line.add(shortPath(*session.cwd, model.home, view.width - line.width() - 1, view.glyphs));
  else if (session.hostAppName)
    line.add(shown(*session.hostAppName));
  return line.cut(view.width, view.glyphs.ellipsis);
}

// One line where the family is one session; otherwise a line below the family's own for each that is not
// over.
void addFamily(const Family& family, const TopView& view, std::vector<Line>& lines) {
  Line head = familyHead(family, view);
  if (family.sessions.size() == 1 && !isOver(family.sessions.front())) {
    lines.push_back(addSession(head, family.sessions.front(), view));
    return;
  }
  head.add(countSessions(family.sessions).text(), Style::dim);
  lines.push_back(head.cut(view.width, view.glyphs.ellipsis));
  for (const AgentSession& session : family.sessions) {
    if (isOver(session)) continue;
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

// How many sessions there are; and where not all lines are shown, which way there are more.
Line remark(const TopView& view, int first, int shownLines, int all) {
  if (!view.model.report) return {};
  const SessionCounts counts = countSessions(view.model.report->activeSessionsList);
  const std::int64_t count = counts.all() + view.model.report->omittedSessions.value_or(0);
  Line line;
  if (count > 0) {
    line.add(std::to_string(count) + (count == 1 ? " session, " : " sessions, ") +
                 std::to_string(counts.active) + " active",
             Style::dim);
  }
  if (all <= shownLines) return line;
  return line.add(line.width() > 0 ? " " : "")
      .add(view.glyphs.up, first > 0 ? Style::strong : Style::faint)
      .add(view.glyphs.down, first + shownLines < all ? Style::strong : Style::faint);
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
