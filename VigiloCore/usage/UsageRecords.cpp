#include "usage/UsageRecords.h"

#include <charconv>

#include "support/Log.h"
#include "support/RecordCoding.h"

namespace vigilo {
namespace {

std::int64_t sumOfParts(const UsageEvent& event) {
  std::int64_t sum = event.inputTokens.value_or(0);
  if (__builtin_add_overflow(sum, event.outputTokens.value_or(0), &sum) ||
      __builtin_add_overflow(sum, event.reasoningTokens.value_or(0), &sum)) {
    fatal("the token counts of a usage event overflow");
  }
  return sum;
}

// The shortest digits that read back as the same number, never with an exponent, always with a decimal:
// "1731700000.0".
std::string fixedNotation(double value) {
  char text[400];  // the longest double has 309 digits before the point, the smallest 343 characters in all
  const auto printed = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed);
  std::string result(text, printed.ptr);
  if (result.find_first_of(".n") == std::string::npos) result += ".0";
  return result;
}

}  // namespace

UsageEvent UsageEvent::make(UsageEvent fields) {
  fields.totalTokens = fields.effectiveTotalTokens();
  return fields;
}

std::optional<std::int64_t> UsageEvent::effectiveTotalTokens() const {
  if (totalTokens) return totalTokens;
  const std::int64_t sum = sumOfParts(*this);
  return sum > 0 ? std::optional(sum) : std::nullopt;
}

std::string UsageEvent::deduplicationKey() const {
  const std::string session = std::string(rawValue(agentType)) + "_" + sessionId + "_";
  if (turnId && !turnId->empty()) return session + *turnId;
  return session + fixedNotation(timestamp.unixSeconds()) + "_" + std::to_string(totalTokens.value_or(0));
}

VIGILO_RECORD_CODING(UsageEvent);
VIGILO_RECORD_CODING(SessionUsageRecord);
VIGILO_RECORD_CODING(AgentUsageSummary);
VIGILO_RECORD_CODING(UsageSummary);
VIGILO_RECORD_CODING(UsageHour);
VIGILO_RECORD_CODING(ExportPayload);

}  // namespace vigilo
