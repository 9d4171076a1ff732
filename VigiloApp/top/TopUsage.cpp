#include "VigiloApp/top/TopUsage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/commands/TextTable.h"
#include "VigiloApp/top/DisplayText.h"
#include "VigiloApp/top/TopParts.h"
#include "usage/PartialCost.h"

namespace vigilo {
namespace {

constexpr int nameWidth = 14;
constexpr int wideBlock = 100;  // from this width on a budget fits one line with its details

std::string percent(double value) {
  return std::to_string(std::lround(std::clamp(value, -999.0, 999.0))) + " %";
}

// The same steps as the alerts have.
Style styleOfRemaining(double remaining) {
  const auto alert = LowBudgetThreshold::evaluate(remaining, std::nullopt);
  if (!alert) return Style::good;
  return alert->level == LowBudgetLevel::warning ? Style::warn : Style::bad;
}

// "███████░ 71 %": how much is used.
Line gauge(double used, double remaining, int length, const Glyphs& glyphs) {
  const Style style = styleOfRemaining(remaining);
  Line line = barLine(used, length, style, glyphs);
  const std::string text = percent(used);
  line.to(length + std::max(6 - displayWidth(text), 1));
  return line.add(text, style == Style::good ? Style::plain : style);
}

Line contextGauge(const ProviderBudgetReport& report, int length, const Glyphs& glyphs) {
  const auto context = report.context.value();
  if (!context) return Line("not known", Style::dim);
  return gauge(context->percentageUsed, context->percentageRemaining, length, glyphs);
}

Line quotaGauge(const ProviderBudgetReport& report, int length, const Glyphs& glyphs) {
  const auto quota = report.quota.value();
  if (!quota) return Line("not known", Style::dim);
  return gauge(quota->usedPercent.value_or(100 - quota->percentageRemaining), quota->percentageRemaining,
               length, glyphs);
}

std::string contextDetail(const ProviderBudgetReport& report) {
  const auto context = report.context.value();
  return context ? "of " + shortCount(context->contextWindow) : "";
}

std::string quotaDetail(const ProviderBudgetReport& report, Date now) {
  const auto quota = report.quota.value();
  if (!quota || !quota->resetsAt) return "";
  if (*quota->resetsAt <= now) return "reset due";
  return "resets in " + shortDuration(*quota->resetsAt - now);
}

// "~$6.17"; where some turns have no price "≥ $6.17" and, where there is room, how many.
std::string costText(double amountUSD, bool isEstimated, std::optional<std::int64_t> unpriced, int room,
                     const Glyphs& glyphs) {
  const std::string amount = dollars(amountUSD);
  if (unpriced.value_or(0) == 0) return (isEstimated ? "~" : "") + amount;
  const std::string_view sign = glyphs.isAscii ? ">=" : "≥";
  const std::string whole = atLeastInWords(amount, unpriced, sign);
  return displayWidth(whole) <= room ? whole : atLeast(amount, unpriced, sign);
}

std::string costText(const ProviderBudgetReport& report, int room, const Glyphs& glyphs) {
  if (!report.cost) return "";
  const CostBudget& cost = *report.cost;
  return costText(cost.amountUSD, cost.isEstimated, cost.unpricedTurnCount, room, glyphs);
}

Line alertLine(const LowBudgetAlert& alert, int indent, const TopView& view) {
  const Style style = alert.level == LowBudgetLevel::warning ? Style::warn : Style::bad;
  Line line;
  line.to(indent).add(view.glyphs.alert, style).add(" ").add(shown(alert.message), style);
  return line.cut(view.width, view.glyphs.ellipsis);
}

// One line: name, context, quota, and behind them what is most worth saying.
void addCompact(const ProviderBudgetReport& report, const TopView& view, std::vector<Line>& lines) {
  const int bar = std::clamp((view.width - 56) / 3, 4, 16);
  Line line("  ");
  line.add(displayName(report.agentType), Style::strong).to(2 + nameWidth);
  line.add("context ", Style::dim)
      .add(contextGauge(report, bar, view.glyphs))
      .to(2 + nameWidth + 8 + bar + 8);
  line.add("quota ", Style::dim)
      .add(quotaGauge(report, bar, view.glyphs))
      .to(2 + nameWidth + 14 + 2 * bar + 16);
  std::string detail = quotaDetail(report, view.model.now);
  if (detail.empty() || view.width >= wideBlock) {
    const std::string cost =
        costText(report, view.width - line.width() - displayWidth(detail) - 2, view.glyphs);
    if (!cost.empty()) detail += (detail.empty() ? "" : ", ") + cost;
  }
  lines.push_back(line.add(detail, Style::dim).cut(view.width, view.glyphs.ellipsis));
}

// Three lines: the head with model and cost, then a gauge each.
void addBlock(const ProviderBudgetReport& report, const TopView& view, std::vector<Line>& lines) {
  const int bar = std::clamp(view.width - 34, 6, 24);
  const std::string cost = costText(report, view.width * 2 / 3, view.glyphs);
  Line head("  ");
  head.add(displayName(report.agentType), Style::strong);
  if (report.modelId) head.add("  ").add(shown(*report.modelId), Style::dim);
  head.cut(view.width - displayWidth(cost) - 3, view.glyphs.ellipsis).to(view.width - displayWidth(cost) - 1);
  lines.push_back(head.add(cost));
  const auto row = [&](const char* label, Line value, const std::string& detail) {
    Line line("    ");
    line.add(label, Style::dim).to(12).add(value).add("  ").add(detail, Style::dim);
    lines.push_back(line.cut(view.width, view.glyphs.ellipsis));
  };
  row("context", contextGauge(report, bar, view.glyphs), contextDetail(report));
  row("quota", quotaGauge(report, bar, view.glyphs), quotaDetail(report, view.model.now));
}

std::vector<const ProviderBudgetReport*> sortedReports(const StatusReport& status) {
  std::vector<const ProviderBudgetReport*> reports;
  for (const auto& [agent, report] : status.latestBudgetReports) reports.push_back(&report);
  const auto severity = [](const ProviderBudgetReport* report) {
    return report->lowBudgetAlert ? static_cast<int>(report->lowBudgetAlert->level) + 1 : 0;
  };
  std::ranges::stable_sort(reports, std::greater{}, severity);
  return reports;
}

std::vector<Line> budgetLines(const TopView& view, int room) {
  if (!view.model.report) return {};
  const auto reports = sortedReports(*view.model.report);
  if (reports.empty()) return {Line("  No agent has reported any usage yet.", Style::dim)};
  const int count = static_cast<int>(reports.size());
  const auto alerts = static_cast<int>(
      std::ranges::count_if(reports, [](const auto* report) { return report->lowBudgetAlert.has_value(); }));
  // Blocks with a line between them, then with alerts, while there is room.
  const bool inBlocks = room >= 3 * count + alerts;
  const bool spaced = inBlocks && room >= 4 * count - 1 + alerts;
  const bool told = room >= (inBlocks ? 3 : 1) * count + alerts;
  std::vector<Line> lines;
  for (const auto* report : reports) {
    if (spaced && !lines.empty()) lines.emplace_back();
    inBlocks ? addBlock(*report, view, lines) : addCompact(*report, view, lines);
    if (told && report->lowBudgetAlert)
      lines.push_back(alertLine(*report->lowBudgetAlert, inBlocks ? 2 : 2 + nameWidth, view));
  }
  return lines;
}

// One column of the chart for each hour, from the bottom up.
std::vector<Line> columns(const std::vector<UsageHour>& hours, int columnWidth, int height,
                          const Glyphs& glyphs) {
  std::int64_t most = 0;
  for (const auto& hour : hours) most = std::max(most, hour.totalTokens);
  const int steps = static_cast<int>(glyphs.levels.size()) - 1;
  std::vector<Line> lines(static_cast<std::size_t>(height));
  for (const auto& hour : hours) {
    const double share = most > 0 ? static_cast<double>(std::max<std::int64_t>(hour.totalTokens, 0)) /
                                        static_cast<double>(most)
                                  : 0;
    int filled = static_cast<int>(std::lround(share * height * steps));
    if (hour.totalTokens > 0) filled = std::max(filled, 1);
    const bool isRunning = &hour == &hours.back();
    for (int row = 0; row < height; ++row) {
      const int level = std::clamp(filled - (height - 1 - row) * steps, 0, steps);
      Line& line = lines[static_cast<std::size_t>(row)];
      const std::string_view sign = glyphs.levels[static_cast<std::size_t>(level)];
      for (int i = 0; i < columnWidth; ++i) {
        const bool isGap = columnWidth > 2 && i == columnWidth - 1;
        line.add(isGap ? " " : sign, isRunning ? Style::strong : Style::accent);
      }
    }
  }
  return lines;
}

// Every sixth hour of the day below its column, and "now" below the last one.
Line axis(const std::vector<UsageHour>& hours, int columnWidth) {
  constexpr int every = 6;
  const int count = static_cast<int>(hours.size());
  const int nowAt = 2 + count * columnWidth - 3;
  Line line("  ");
  for (int i = 0; i < count; ++i) {
    const std::string hour = localTime(hours[static_cast<std::size_t>(i)].start).substr(0, 2);
    const int at = 2 + i * columnWidth;
    if (std::atoi(hour.c_str()) % every == 0 && at >= line.width() && at + 4 <= nowAt)
      line.to(at).add(hour + "h", Style::dim);
  }
  return line.to(nowAt).add("now", Style::dim);
}

// The costs only where there is room for them.
Line tokensRemark(const TopView& view) {
  constexpr int around = 16;  // the title and the rule
  if (!view.model.report) return {};
  const UsageSummary& today = view.model.report->todaySummary;
  Line line("today ", Style::dim);
  line.add(shortCount(today.totalTokens));
  if (!today.estimatedCostUSD) return line;
  const int room = view.width - line.width() - around - 2;
  const std::string cost =
      costText(*today.estimatedCostUSD, true, today.unpricedTurnCount, room, view.glyphs);
  if (displayWidth(cost) <= room) line.add(", " + cost, Style::dim);
  return line;
}

std::vector<Line> padded(std::vector<Line> lines, int height) {
  lines.resize(static_cast<std::size_t>(std::max(height, 0)));
  return lines;
}

}  // namespace

std::vector<Line> topBudgets(const TopView& view, int height) {
  std::vector<Line> lines{ruleLine("Budgets", {}, view.width, view.glyphs)};
  for (Line& line : budgetLines(view, height - 1)) lines.push_back(std::move(line));
  return padded(std::move(lines), height);
}

std::vector<Line> topTokens(const TopView& view, int height) {
  std::vector<Line> lines{ruleLine("Tokens", tokensRemark(view), view.width, view.glyphs)};
  const auto& all = view.model.usageHours;
  const int room = view.width - 3;
  if (all.empty() || room < 6 || height < 3) return padded(std::move(lines), height);
  const int columnWidth = std::clamp(room / static_cast<int>(all.size()), 1, 3);
  const auto count = std::min<std::size_t>(all.size(), static_cast<std::size_t>(room / columnWidth));
  const std::vector<UsageHour> hours(all.end() - static_cast<std::ptrdiff_t>(count), all.end());
  for (Line& line : columns(hours, columnWidth, height - 2, view.glyphs)) {
    Line indented("  ");
    lines.push_back(indented.add(line));
  }
  lines.push_back(axis(hours, columnWidth));
  return padded(std::move(lines), height);
}

}  // namespace vigilo
