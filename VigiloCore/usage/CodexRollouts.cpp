#include "usage/CodexRollouts.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <unordered_map>
#include <utility>

#include "support/Uuid.h"
#include "usage/LogFolder.h"
#include "usage/ModelRateCard.h"
#include "usage/SessionReports.h"
#include "usage/UsageJson.h"

namespace vigilo {
namespace {

using usagejson::amount;
using usagejson::check;
using usagejson::count;
using usagejson::fields;
using usagejson::isObject;
using usagejson::text;
using usagejson::Value;

constexpr const char* source = "codex-session-rollout";
constexpr const char* assumedModel = "gpt-5.6-terra";
constexpr std::int64_t assumedWindow = 258400;

struct Counts {
  std::optional<std::int64_t> input, cached, output, reasoning, total;

  bool read(Value& object) {
    return fields(object, [this](std::string_view key, Value& value) {
      if (key == "input_tokens") return count(value, input);
      if (key == "cached_input_tokens") return count(value, cached);
      if (key == "output_tokens") return count(value, output);
      if (key == "reasoning_output_tokens") return count(value, reasoning);
      if (key == "total_tokens") return count(value, total);
      return check(value);
    });
  }

  // As given, else input and output where there are any.
  std::optional<std::int64_t> sum() const {
    if (total) return total;
    const std::int64_t parts = input.value_or(0) + output.value_or(0);
    return parts > 0 ? std::optional(parts) : std::nullopt;
  }
};

// Reads an object into `into` where the value is one, and leaves it absent otherwise.
template <class T>
bool readObject(Value& value, std::optional<T>& into) {
  into.reset();
  if (!isObject(value)) return check(value);
  return into.emplace().read(value);
}

struct Info {
  std::optional<Counts> last, total;
  std::optional<std::int64_t> window;

  bool read(Value& object) {
    return fields(object, [this](std::string_view key, Value& value) {
      if (key == "last_token_usage") return readObject(value, last);
      if (key == "total_token_usage") return readObject(value, total);
      if (key == "model_context_window") return count(value, window);
      return check(value);
    });
  }

  // A turn's own counts where they are given, so that each turn adds only those.
  const Counts* counts() const { return last ? &*last : total ? &*total : nullptr; }
};

struct Window {
  std::optional<double> usedPercent, resetsAt;
  std::optional<std::int64_t> minutes;
  std::optional<std::string_view> planType;

  bool read(Value& object) {
    return fields(object, [this](std::string_view key, Value& value) {
      if (key == "used_percent") return amount(value, usedPercent);
      if (key == "window_minutes") return count(value, minutes);
      if (key == "resets_at") return amount(value, resetsAt);
      if (key == "plan_type") return text(value, planType);
      return check(value);
    });
  }
};

struct RateLimits {
  std::optional<Window> primary;
  std::optional<std::string_view> planType;

  bool read(Value& object) {
    return fields(object, [this](std::string_view key, Value& value) {
      if (key == "primary") return readObject(value, primary);
      if (key == "plan_type") return text(value, planType);
      return check(value);
    });
  }

  std::optional<AccountQuotaBudget> quota() const {
    if (!primary || !primary->usedPercent) return std::nullopt;
    auto budget = AccountQuotaBudget::ofUsedPercent(*primary->usedPercent);
    budget.windowMinutes = primary->minutes;
    if (primary->resetsAt) budget.resetsAt = Date::fromUnix(*primary->resetsAt);
    const auto& plan = planType ? planType : primary->planType;
    if (plan) budget.planType = std::string(*plan);
    return budget;
  }
};

// The fields that stand either in the line itself or in its envelope.
struct Level {
  std::optional<std::string_view> model;
  std::optional<Info> info;
  std::optional<RateLimits> limits;
  std::optional<std::int64_t> ordinal;

  bool take(std::string_view key, Value& value) {
    if (key == "model") return text(value, model);
    if (key == "info") return readObject(value, info);
    if (key == "rate_limits") return readObject(value, limits);
    if (key == "ordinal") return count(value, ordinal);
    return check(value);
  }
};

struct Line {
  Level top, payload;

  bool read(usagejson::ObjectReader& json, std::string_view line) {
    return json.read(line, [this](std::string_view key, Value& value) {
      if (key != "payload") return top.take(key, value);
      return fields(value,
                    [this](std::string_view inner, Value& field) { return payload.take(inner, field); });
    });
  }

  const std::optional<Info>& info() const { return top.info ? top.info : payload.info; }
  const std::optional<RateLimits>& limits() const { return top.limits ? top.limits : payload.limits; }
  const std::optional<std::int64_t>& ordinal() const { return top.ordinal ? top.ordinal : payload.ordinal; }
  std::string_view model() const {
    if (payload.model && !payload.model->empty()) return *payload.model;
    return top.model.value_or("");
  }
};

// What a file has told so far.
struct FileState {
  std::optional<std::string> model;
  std::optional<AccountQuotaBudget> quota;
  std::optional<ContextBudget> context;
  std::optional<UsageEvent> newest;
  bool hasNews = false;  // since the last report
};

class CodexRollouts final : public UsageSource, private LogVisitor {
 public:
  explicit CodexRollouts(std::vector<std::string> folders) : folder_(std::move(folders)) {}

  void readNew(Date now, const Sink& onEvent) override {
    now_ = now;
    onEvent_ = &onEvent;
    folder_.readNew(*this);
    report_ = reports_.current(now);
    json_ = {};  // its memory is needed only while reading
  }

  std::optional<ProviderBudgetReport> latestReport() const override { return report_; }

 private:
  void beginFile(const std::string& path, Date modifiedAt, bool isFromStart) override {
    path_ = path;
    modifiedAt_ = modifiedAt;
    file_ = &files_[path];
    if (isFromStart) *file_ = {};
    sessionId_ = std::filesystem::path(path).stem().string();
  }

  // One of these stands in every line that is read for something; within a text the quotes would be escaped.
  bool concerns(std::string_view line) const override {
    static constexpr std::array<std::string_view, 3> keys{"\"model\"", "\"info\"", "\"rate_limits\""};
    return std::ranges::any_of(keys, [line](std::string_view key) {
      return ::memmem(line.data(), line.size(), key.data(), key.size()) != nullptr;
    });
  }

  bool takeLine(std::string_view text, std::size_t index) override {
    Line line;
    if (!line.read(json_, text)) return false;
    if (!line.model().empty()) file_->model = line.model();
    if (line.limits()) {
      if (auto quota = line.limits()->quota()) {
        file_->quota = std::move(quota);
        file_->hasNews = true;
      }
    }
    const auto& info = line.info();
    const Counts* counts = info ? info->counts() : nullptr;
    if (counts != nullptr) {
      const std::string turn =
          line.ordinal() ? "turn_" + std::to_string(*line.ordinal()) : "turn_idx_" + std::to_string(index);
      takeUsage(*counts, info->window, turn);
    }
    return true;
  }

  void takeUsage(const Counts& counts, std::optional<std::int64_t> statedWindow, const std::string& turnId) {
    const std::optional<std::string> model(file_->model.value_or(assumedModel));
    const std::int64_t window =
        statedWindow ? *statedWindow : ModelRateCard::contextWindow(model).value_or(assumedWindow);
    UsageEvent event = UsageEvent::make(
        {.id = makeUuid(),
         .agentType = AgentType::codex,
         .sessionId = sessionId_,
         .turnId = turnId,
         .modelId = model,
         .inputTokens = counts.input,
         .outputTokens = counts.output,
         .cachedTokens = counts.cached,
         .reasoningTokens = counts.reasoning,
         .totalTokens = counts.sum(),
         .contextWindow = window,
         .costEstimateUSD = ModelRateCard::estimateCost(
             model, {counts.input, counts.output, counts.cached, counts.reasoning, std::nullopt}),
         .quotaRemainingPercent =
             file_->quota ? std::optional(file_->quota->percentageRemaining) : std::nullopt,
         .timestamp = now_,
         .source = source});
    (*onEvent_)(event);
    file_->context = ContextBudget::of(window, counts.sum().value_or(0));
    file_->newest = std::move(event);
    file_->hasNews = true;
  }

  void endFile() override {
    if (!std::exchange(file_->hasNews, false)) return;
    UsageEvent none{.agentType = AgentType::codex, .sessionId = sessionId_, .source = source};
    none.modelId = file_->model.value_or(assumedModel);
    ProviderBudgetReport report = reportOf(file_->newest.value_or(none), now_);
    if (file_->context) {
      report.context = BudgetMetric<ContextBudget>::known(*file_->context, 1.0, "codex-rollout");
    }
    if (file_->quota) {
      report.quota = BudgetMetric<AccountQuotaBudget>::known(*file_->quota, 1.0, "codex-rate-limits");
    }
    reports_.put(path_, std::move(report), modifiedAt_);
  }

  LogFolder folder_;
  std::unordered_map<std::string, FileState> files_;  // by path
  SessionReports reports_;
  std::optional<ProviderBudgetReport> report_;
  // Of the poll and the file that is being read.
  Date now_;
  const Sink* onEvent_ = nullptr;
  usagejson::ObjectReader json_;
  FileState* file_ = nullptr;
  std::string path_;
  Date modifiedAt_;
  std::string sessionId_;
};

}  // namespace

std::unique_ptr<UsageSource> codexRollouts(std::vector<std::string> folders) {
  return std::make_unique<CodexRollouts>(std::move(folders));
}

}  // namespace vigilo
