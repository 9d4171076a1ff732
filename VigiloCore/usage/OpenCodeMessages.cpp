#include "usage/OpenCodeMessages.h"

#include <list>
#include <unordered_set>
#include <utility>

#include "support/Uuid.h"
#include "usage/ModelRateCard.h"
#include "usage/OpenCodeDatabase.h"
#include "usage/SessionReports.h"
#include "usage/UsageJson.h"

namespace vigilo {
namespace {

using usagejson::amount;
using usagejson::check;
using usagejson::count;
using usagejson::fields;
using usagejson::text;
using usagejson::Value;

constexpr const char* source = "opencode-db";

// What the data of one message says. Texts belong to the reader.
struct Data {
  std::optional<std::int64_t> input, output, reasoning, total, cacheRead, cacheWrite;
  std::optional<std::string_view> modelId, model;
  std::optional<double> cost;

  bool read(usagejson::ObjectReader& json, std::string_view data) {
    return json.read(data, [this](std::string_view key, Value& value) {
      if (key == "tokens") return readTokens(value);
      if (key == "modelID") return text(value, modelId);
      if (key == "model") return text(value, model);
      if (key == "cost") return amount(value, cost);
      return check(value);
    });
  }

  bool hasCounts() const {
    for (const auto& each : {input, output, reasoning, total, cacheRead, cacheWrite}) {
      if (each.value_or(0) != 0) return true;
    }
    return false;
  }

  // All that was in the model's window.
  std::int64_t consumed() const {
    return total.value_or(input.value_or(0) + output.value_or(0) + reasoning.value_or(0) +
                          cacheRead.value_or(0) + cacheWrite.value_or(0));
  }

 private:
  bool readTokens(Value& tokens) {
    return fields(tokens, [this](std::string_view key, Value& value) {
      if (key == "input") return count(value, input);
      if (key == "output") return count(value, output);
      if (key == "reasoning") return count(value, reasoning);
      if (key == "total") return count(value, total);
      if (key == "cache") return readCache(value);
      return check(value);
    });
  }

  bool readCache(Value& cache) {
    return fields(cache, [this](std::string_view key, Value& value) {
      if (key == "read") return count(value, cacheRead);
      if (key == "write") return count(value, cacheWrite);
      return check(value);
    });
  }
};

UsageEvent eventOf(const OpenCodeDatabase::Message& message, const Data& data, Date now) {
  std::optional<std::string> model;
  if (const auto& named = data.modelId ? data.modelId : data.model) model.emplace(*named);
  const auto cost = data.cost ? data.cost
                              : ModelRateCard::estimateCost(model, {data.input, data.output, data.cacheRead,
                                                                    data.reasoning, data.cacheWrite});
  const auto milliseconds = static_cast<double>(message.createdMilliseconds);
  return UsageEvent::make(
      {.id = makeUuid(),
       .agentType = AgentType::opencode,
       .sessionId = message.sessionId,
       .turnId = message.id,
       .modelId = model,
       .inputTokens = data.input,
       .outputTokens = data.output,
       .cachedTokens = data.cacheRead,
       .cacheWriteTokens = data.cacheWrite,
       .reasoningTokens = data.reasoning,
       .totalTokens = data.total,
       .contextWindow = ModelRateCard::contextWindow(model),
       .costEstimateUSD = cost,
       .timestamp = message.createdMilliseconds >= 1 ? Date::fromUnix(milliseconds / 1000) : now,
       .source = source});
}

class OpenCodeMessages final : public UsageSource {
 public:
  explicit OpenCodeMessages(const std::vector<std::string>& databasePaths)
      : databases_(databasePaths.begin(), databasePaths.end()) {}

  void readNew(Date now, const Sink& onEvent) override {
    for (OpenCodeDatabase& database : databases_) readNew(database, now, onEvent);
    report_ = reports_.current(now);
  }

  std::optional<ProviderBudgetReport> latestReport() const override { return report_; }

 private:
  void readNew(OpenCodeDatabase& database, Date now, const Sink& onEvent) {
    usagejson::ObjectReader json;
    for (auto& message : database.readChanged()) {
      if (knownIds_.contains(message.id)) continue;
      Data data;
      const std::size_t length = message.data.size();
      message.data.append(LineReader::padding, ' ');
      if (!data.read(json, std::string_view(message.data).substr(0, length)) || !data.hasCounts()) continue;
      const UsageEvent event = eventOf(message, data, now);
      knownIds_.insert(message.id);
      onEvent(event);
      // A step that began earlier may end later; the newest message stays the one that is reported.
      const bool isNewest = event.timestamp >= reported_;
      if (isNewest) reported_ = event.timestamp;
      report(event, data.consumed(), now, isNewest);
    }
  }

  void report(const UsageEvent& event, std::int64_t consumed, Date now, bool isNewest) {
    ProviderBudgetReport report = reportOf(event, now);
    if (event.contextWindow) {
      report.context =
          BudgetMetric<ContextBudget>::known(ContextBudget::of(*event.contextWindow, consumed), 1.0, source);
    }
    reports_.put(event.sessionId, std::move(report), event.timestamp, isNewest);
  }

  std::list<OpenCodeDatabase> databases_;
  std::unordered_set<std::string> knownIds_;  // of the messages that became events
  SessionReports reports_;
  std::optional<ProviderBudgetReport> report_;
  Date reported_{-1e18};  // the time of the newest message
};

}  // namespace

std::unique_ptr<UsageSource> openCodeMessages(const std::vector<std::string>& databasePaths) {
  return std::make_unique<OpenCodeMessages>(databasePaths);
}

}  // namespace vigilo
