#include "agents/HookEvent.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "support/RecordCoding.h"

namespace vigilo {
namespace {

// An event is flat; agents may add a few levels of their own.
constexpr int deepestNesting = 64;

enum class Key {
  other,
  schema,
  agent,
  sessionId,
  state,
  timestamp,
  pid,
  cwd,
  inputTokens,
  outputTokens,
  cachedTokens,
  reasoningTokens,
  model,
  turnId
};

constexpr std::pair<std::string_view, Key> keys[] = {
    {"schema", Key::schema},
    {"agent", Key::agent},
    {"session_id", Key::sessionId},
    {"state", Key::state},
    {"timestamp", Key::timestamp},
    {"pid", Key::pid},
    {"cwd", Key::cwd},
    {"input_tokens", Key::inputTokens},
    {"output_tokens", Key::outputTokens},
    {"cached_tokens", Key::cachedTokens},
    {"reasoning_tokens", Key::reasoningTokens},
    {"model", Key::model},
    {"turn_id", Key::turnId},
};

std::string lowered(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

// Fills an event from the top level of an object as the parser walks over it: no document is built, since
// events come in by the ten thousand a second at worst.
class EventReader {
 public:
  HookEvent event;
  std::string error;
  bool hasAgent = false;
  bool hasState = false;
  bool hasTimestamp = false;

  explicit EventReader(std::size_t size) : size_(size) {}

  std::string invalidAt(std::size_t byte) const {
    return "not valid JSON (byte " + std::to_string(byte) + " of " + std::to_string(size_) + ")";
  }

  bool null() { return scalar(); }
  bool boolean(bool) { return scalar(); }
  bool binary(Json::binary_t&) { return scalar(); }
  bool number_integer(std::int64_t value) { return number(static_cast<double>(value), value); }
  bool number_unsigned(std::uint64_t value) {
    const bool fits = value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return number(static_cast<double>(value),
                  fits ? std::optional(static_cast<std::int64_t>(value)) : std::nullopt);
  }
  bool number_float(double value, const std::string&) {
    const bool whole = value == std::trunc(value) && std::abs(value) < 9e18;
    return number(value, whole ? std::optional(static_cast<std::int64_t>(value)) : std::nullopt);
  }
  bool string(std::string& value);
  bool key(std::string& name);
  bool start_object(std::size_t) { return depth_ > 0 ? nest() : ++depth_ > 0; }
  bool start_array(std::size_t) { return depth_ > 0 ? nest() : fail("expected an object"); }
  bool end_object() { return --depth_ >= 0; }
  bool end_array() { return --depth_ >= 0; }
  bool parse_error(std::size_t position, const std::string&, const Json::exception& what);

 private:
  bool fail(const char* reason) {
    error = reason;
    return false;
  }
  bool nest() {
    key_ = Key::other;
    return ++depth_ <= deepestNesting || fail("nested too deeply");
  }
  bool scalar() { return depth_ > 0 || fail("expected an object"); }
  bool number(double real, std::optional<std::int64_t> whole);

  const std::size_t size_;
  int depth_ = 0;
  Key key_ = Key::other;  // of the value that comes next; `other` below the top level
};

bool EventReader::key(std::string& name) {
  if (depth_ != 1) return true;
  key_ = Key::other;
  for (const auto& [text, known] : keys) {
    if (text == name) key_ = known;
  }
  return true;
}

bool EventReader::string(std::string& value) {
  switch (key_) {
    case Key::agent:
      event.agent = agentNamed(value).value_or(AgentType::custom);
      event.unknownAgent = agentNamed(value) ? std::nullopt : std::optional(std::move(value));
      hasAgent = true;
      break;
    case Key::state:
      event.state = stateNamed(value).value_or(AgentState::unknown);
      event.unknownState = stateNamed(value) ? std::nullopt : std::optional(std::move(value));
      hasState = true;
      break;
    case Key::sessionId:
      event.sessionId = std::move(value);
      break;
    case Key::cwd:
      event.cwd = std::move(value);
      break;
    case Key::model:
      event.model = std::move(value);
      break;
    case Key::turnId:
      event.turnId = std::move(value);
      break;
    default:
      break;
  }
  return scalar();
}

bool EventReader::number(double real, std::optional<std::int64_t> whole) {
  const auto within = [whole](std::int64_t least, std::int64_t most) {
    return whole && *whole >= least && *whole <= most ? whole : std::nullopt;
  };
  const auto tokens = [&] { return within(-largestTokenCount, largestTokenCount); };
  switch (key_) {
    case Key::schema:
      event.schema = whole.value_or(1);
      break;
    case Key::timestamp:
      event.timestamp = Date::fromUnix(real);
      hasTimestamp = std::isfinite(real);
      break;
    case Key::pid:
      if (const auto pid = within(INT32_MIN, INT32_MAX)) event.pid = static_cast<std::int32_t>(*pid);
      break;
    case Key::inputTokens:
      event.inputTokens = tokens();
      break;
    case Key::outputTokens:
      event.outputTokens = tokens();
      break;
    case Key::cachedTokens:
      event.cachedTokens = tokens();
      break;
    case Key::reasoningTokens:
      event.reasoningTokens = tokens();
      break;
    default:
      break;
  }
  return scalar();
}

bool EventReader::parse_error(std::size_t position, const std::string&, const Json::exception& what) {
  // The library's own text quotes the input, which need not be printable.
  if (dynamic_cast<const Json::parse_error*>(&what) == nullptr) return fail("a number is out of range");
  error = invalidAt(position);
  return false;
}

class HookEventCategory final : public std::error_category {
 public:
  const char* name() const noexcept override { return "hook event"; }
  std::string message(int code) const override {
    switch (static_cast<HookEventError>(code)) {
      case HookEventError::invalidJSON:
        return "not valid JSON";
      case HookEventError::payloadTooLarge:
        return "too large";
      case HookEventError::missingRequiredFields:
        return "a required field is missing";
    }
    return "unknown error";
  }
};

}  // namespace

std::string namelessSessionId(AgentType agent, std::optional<std::int32_t> pid) {
  return std::string(rawValue(agent)) + "-" + (pid ? std::to_string(*pid) : "default");
}

const std::error_category& hookEventCategory() {
  static const HookEventCategory category;
  return category;
}

std::error_code make_error_code(HookEventError error) {
  return {static_cast<int>(error), hookEventCategory()};
}

std::optional<AgentType> agentNamed(std::string_view name) {
  return fromRawValue<AgentType>(lowered(name));
}

std::optional<AgentState> stateNamed(std::string_view name) {
  return fromRawValue<AgentState>(lowered(name));
}

HookEvent HookEvent::of(AgentType agent, AgentState state, Date timestamp, std::string sessionId,
                        std::optional<std::int32_t> pid) {
  HookEvent event;
  event.agent = agent;
  event.state = state;
  event.timestamp = timestamp;
  event.pid = pid;
  event.sessionId = sessionId.empty() ? namelessSessionId(agent, pid) : std::move(sessionId);
  return event;
}

Result<HookEvent, DecodeError> decodeHookEvent(std::string_view bytes, Date now) {
  EventReader reader(bytes.size());
  // The library takes a zero byte for the end and would not look at what follows.
  if (const auto zero = bytes.find('\0'); zero != std::string_view::npos) {
    return DecodeError{reader.invalidAt(zero + 1)};
  }
  if (!Json::sax_parse(bytes.begin(), bytes.end(), &reader)) return DecodeError{std::move(reader.error)};
  if (!reader.hasAgent) return DecodeError{"agent: expected a string"};
  if (!reader.hasState) return DecodeError{"state: expected a string"};
  HookEvent& event = reader.event;
  if (!reader.hasTimestamp) event.timestamp = now;
  if (event.sessionId.empty()) event.sessionId = namelessSessionId(event.agent, event.pid);
  return std::move(event);
}

std::optional<std::string> encodeHookEvent(const HookEvent& event) {
  if (!std::isfinite(event.timestamp.unixSeconds())) return std::nullopt;
  Json object;
  const auto add = [&](const char* key, const auto& value) {
    if (value) object[key] = *value;
  };
  object["schema"] = event.schema;
  object["agent"] = event.unknownAgent.value_or(std::string(rawValue(event.agent)));
  object["session_id"] = event.sessionId;
  object["state"] = event.unknownState.value_or(std::string(rawValue(event.state)));
  object["timestamp"] = event.timestamp.unixSeconds();
  add("pid", event.pid);
  add("cwd", event.cwd);
  add("input_tokens", event.inputTokens);
  add("output_tokens", event.outputTokens);
  add("cached_tokens", event.cachedTokens);
  add("reasoning_tokens", event.reasoningTokens);
  add("model", event.model);
  add("turn_id", event.turnId);
  return coding::print(object, {});
}

}  // namespace vigilo
