#include "VigiloApp/top/TopAgents.h"

#include <algorithm>
#include <string>

#include "VigiloApp/StatusText.h"
#include "VigiloApp/top/DisplayText.h"
#include "VigiloApp/top/TopParts.h"

namespace vigilo {
namespace {

struct Family {
  std::string name;
  std::string subtitle;
  AgentState state{};
  const LowBudgetAlert* alert = nullptr;
  std::vector<const AgentSession*> sessions;
};

std::vector<Family> familiesOf(const StatusReport& report) {
  std::vector<Family> families;
  for (const auto& [agent, raw] : RawValues<AgentType>::table) {
    Family family{.name = displayName(agent)};
    for (const auto& session : report.activeSessionsList)
      if (session.agentType == agent) family.sessions.push_back(&session);
    if (family.sessions.empty()) continue;
    family.state = family.sessions.front()->state;
    family.subtitle = std::to_string(family.sessions.size()) + " sessions";
    families.push_back(std::move(family));
  }
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
  line.add(view.glyphs.of(family.state), styleOf(family.state)).add(" ").add(family.name, Style::strong);
  if (family.alert != nullptr) {
    const Style style = family.alert->level == LowBudgetLevel::warning ? Style::warn : Style::bad;
    line.add(" ").add(view.glyphs.alert, style);
  }
  return line.to(std::max(line.width() + 1, sessionColumn));
}

// State, age, place and identifier; the first two stay where not all fit.
Line& addSession(Line& line, const AgentSession& session, const TopView& view) {
  const TopModel& model = view.model;
  line.to(sessionColumn).add(view.glyphs.of(session.state), styleOf(session.state)).add(" ");
  line.add(displayLabel(session.state), styleOf(session.state)).to(sessionColumn + 13);
  line.add(shortDuration(std::max(0.0, model.now - session.lastEventAt)) + " ago").to(sessionColumn + 25);
  if (view.width >= startedFrom) {
    line.add("since " + localTime(session.startedAt).substr(0, 5), Style::dim).to(sessionColumn + 38);
  }
  const int left = view.width - line.width() - 1;
  const int idWidth = std::clamp(left / 3, 0, 18);
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
    lines.push_back(addSession(head, *family.sessions.front(), view));
    return;
  }
  lines.push_back(head.add(shown(family.subtitle), Style::dim).cut(view.width, view.glyphs.ellipsis));
  for (const AgentSession* session : family.sessions) {
    Line line;
    lines.push_back(addSession(line, *session, view));
  }
}

std::vector<Line> allLines(const TopView& view) {
  std::vector<Line> lines;
  if (!view.model.report) return lines;
  for (const Family& family : familiesOf(*view.model.report)) addFamily(family, view, lines);
  if (const auto omitted = view.model.report->omittedSessions)
    lines.push_back(Line("    and " + std::to_string(*omitted) + " older ones", Style::dim));
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
