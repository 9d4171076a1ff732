#include "usage/ClaudeProjectLogs.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <utility>

#include "support/Uuid.h"
#include "usage/LogFolder.h"
#include "usage/ModelRateCard.h"
#include "usage/SessionReports.h"
#include "usage/UsageJson.h"

namespace vigilo {
namespace {

using usagejson::check;
using usagejson::count;
using usagejson::fields;
using usagejson::flag;
using usagejson::isObject;
using usagejson::text;
using usagejson::Value;

constexpr const char* source = "claude-project-log";
constexpr std::string_view assumedModel = "claude-3-5-sonnet";
constexpr std::int64_t assumedWindow = 200000;

// What one line says. Texts belong to the reader.
struct Line {
  std::optional<std::string_view> type, sessionId, messageId, uuid, model, timestamp;
  bool hasUsage = false;
  bool isSidechain = false;  // of a sub-agent
  std::optional<std::int64_t> input, output, cacheRead, cacheWrite, thinking;

  bool read(usagejson::ObjectReader& json, std::string_view line) {
    return json.read(line, [this](std::string_view key, Value& value) {
      if (key == "type") return text(value, type);
      if (key == "message") return readMessage(value);
      if (key == "sessionId") return text(value, sessionId);
      if (key == "isSidechain") return flag(value, isSidechain);
      if (key == "uuid") return text(value, uuid);
      if (key == "timestamp") return text(value, timestamp);
      return check(value);
    });
  }

  // Zero where there is nothing to count.
  std::int64_t total() const {
    if (!hasUsage || (type != "assistant" && type != "result")) return 0;
    return input.value_or(0) + output.value_or(0) + cacheRead.value_or(0) + cacheWrite.value_or(0);
  }

 private:
  bool readMessage(Value& message) {
    return fields(message, [this](std::string_view key, Value& value) {
      if (key == "id") return text(value, messageId);
      if (key == "model") return text(value, model);
      if (key == "usage") return readUsage(value);
      return check(value);
    });
  }

  bool readUsage(Value& usage) {
    hasUsage = isObject(usage);
    return fields(usage, [this](std::string_view key, Value& value) {
      if (key == "input_tokens") return count(value, input);
      if (key == "output_tokens") return count(value, output);
      if (key == "cache_read_input_tokens") return count(value, cacheRead);
      if (key == "cache_creation_input_tokens") return count(value, cacheWrite);
      if (key == "output_tokens_details") return readDetails(value);
      return check(value);
    });
  }

  bool readDetails(Value& details) {
    return fields(details, [this](std::string_view key, Value& value) {
      return key == "thinking_tokens" ? count(value, thinking) : check(value);
    });
  }
};

// Fractions of a second are not accepted: such a line counts as of when it is read, whatever day it is from.
std::optional<Date> lineTime(const std::optional<std::string_view>& timestamp) {
  if (!timestamp || timestamp->find('.') != std::string_view::npos) return std::nullopt;
  return Date::fromIso8601(*timestamp);
}

class Visitor final : public LogVisitor {
 public:
  Visitor(Date now, const UsageSource::Sink& onEvent, SessionReports& reports)
      : now_(now), onEvent_(onEvent), reports_(reports) {}

  void beginFile(const std::string& path, Date modifiedAt, bool) override {
    path_ = path;
    fileName_ = std::filesystem::path(path).stem().string();
    modifiedAt_ = modifiedAt;
    newest_ = {};
  }

  // Every line with usage has the key; within a text the quotes would be escaped.
  bool concerns(std::string_view line) const override {
    static constexpr std::string_view key = "\"usage\"";
    return ::memmem(line.data(), line.size(), key.data(), key.size()) != nullptr;
  }

  bool takeLine(std::string_view text, std::size_t index) override {
    Line line;
    if (!line.read(json_, text)) return false;
    if (line.total() < 1) return true;
    UsageEvent event = eventOf(line, index);
    onEvent_(event);
    newest_[line.isSidechain ? 1 : 0] = std::move(event);
    endsWithSidechain_ = line.isSidechain;
    return true;
  }

  // Current releases give each sub-agent a file of its own, older ones a chain beside the main one.
  void endFile() override {
    if (newest_[0]) report(path_, *newest_[0], !endsWithSidechain_);
    if (newest_[1]) report(path_ + " sidechain", *newest_[1], endsWithSidechain_);
  }

 private:
  void report(const std::string& part, const UsageEvent& event, bool isNewest) {
    ProviderBudgetReport report = reportOf(event, now_);
    report.context = BudgetMetric<ContextBudget>::known(
        ContextBudget::of(*event.contextWindow, *event.totalTokens), 1.0, source);
    reports_.put(part, std::move(report), modifiedAt_, isNewest);
  }

  UsageEvent eventOf(const Line& line, std::size_t index) const {
    const std::optional<std::string> model(line.model.value_or(assumedModel));
    const std::string sessionId(line.sessionId ? *line.sessionId : fileName_);
    std::string turnId = line.messageId ? std::string(*line.messageId)
                         : line.uuid    ? std::string(*line.uuid)
                                        : sessionId + "_turn_" + std::to_string(index);
    return UsageEvent::make(
        {.id = makeUuid(),
         .agentType = AgentType::claude,
         .sessionId = sessionId,
         .turnId = std::move(turnId),
         .modelId = model,
         .inputTokens = line.input,
         .outputTokens = line.output,
         .cachedTokens = line.cacheRead,
         .cacheWriteTokens = line.cacheWrite,
         .reasoningTokens = line.thinking,
         .totalTokens = line.total(),
         .contextWindow = ModelRateCard::contextWindow(model).value_or(assumedWindow),
         .costEstimateUSD = ModelRateCard::estimateCost(
             model, {line.input, line.output, line.cacheRead, line.thinking, line.cacheWrite}),
         .timestamp = lineTime(line.timestamp).value_or(now_),
         .source = source});
  }

  const Date now_;
  const UsageSource::Sink& onEvent_;
  usagejson::ObjectReader json_;
  SessionReports& reports_;
  // Of the file that is being read.
  std::string path_;
  std::string fileName_;  // without its extension
  Date modifiedAt_;
  std::array<std::optional<UsageEvent>, 2> newest_;  // of the main chain and of a sub-agent's
  bool endsWithSidechain_ = false;
};

class ClaudeProjectLogs final : public UsageSource {
 public:
  explicit ClaudeProjectLogs(std::vector<std::string> folders) : folder_(std::move(folders)) {}

  void readNew(Date now, const Sink& onEvent) override {
    Visitor visitor(now, onEvent, reports_);
    folder_.readNew(visitor);
    report_ = reports_.current(now);
  }

  std::optional<ProviderBudgetReport> latestReport() const override { return report_; }

 private:
  LogFolder folder_;
  SessionReports reports_;
  std::optional<ProviderBudgetReport> report_;
};

}  // namespace

std::unique_ptr<UsageSource> claudeProjectLogs(std::vector<std::string> folders) {
  return std::make_unique<ClaudeProjectLogs>(std::move(folders));
}

}  // namespace vigilo
