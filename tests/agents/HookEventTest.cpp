#include "agents/HookEvent.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace vigilo {
namespace {

const Date now = Date::fromUnix(1795262400);

HookEvent decoded(std::string_view json) {
  auto event = decodeHookEvent(json, now);
  EXPECT_TRUE(event) << json << ": " << (event ? "" : event.error().description);
  return event ? *event : HookEvent{};
}

HookEvent eventOf(AgentType agent, AgentState state, std::string id) {
  return HookEvent::of(agent, state, now, std::move(id));
}

TEST(HookEvent, LenientFieldsReadAsTheirDefaults) {
  using enum AgentState;
  struct Case {
    const char* json;
    HookEvent expected;
  };
  HookEvent customWithPid = eventOf(AgentType::custom, unknown, "custom-42");
  customWithPid.pid = 42;
  customWithPid.unknownAgent = "foo";
  customWithPid.unknownState = "bar";
  HookEvent otherSchema = eventOf(AgentType::gemini, waiting, "s");
  otherSchema.schema = 7;
  const Case cases[] = {
      {R"({"agent":"Claude","state":"WORKING"})", eventOf(AgentType::claude, working, "claude-default")},
      {R"({"agent":"foo","state":"bar","pid":42})", customWithPid},
      {R"({"agent":"foo","state":"bar","pid":42.0})", customWithPid},
      {R"({"agent":"codex","state":"idle","session_id":""})",
       eventOf(AgentType::codex, idle, "codex-default")},
      {R"({"agent":"codex","state":"idle","session_id":null,"pid":null,"cwd":null})",
       eventOf(AgentType::codex, idle, "codex-default")},
      {R"({"schema":7,"agent":"gemini","state":"waiting","session_id":"s"})", otherSchema},
      {R"({"schema":1e300,"agent":"gemini","state":"waiting","session_id":"s"})",
       eventOf(AgentType::gemini, waiting, "s")},
      // Out of range, of another type, or a boolean, which is no number.
      {R"({"agent":"aider","state":"idle","pid":2147483648,"cwd":[],"model":1,"turn_id":{"a":"b"}})",
       eventOf(AgentType::aider, idle, "aider-default")},
      {R"({"agent":"aider","state":"idle","pid":true,"timestamp":"1795262401","input_tokens":1.5})",
       eventOf(AgentType::aider, idle, "aider-default")},
      {R"({"agent":"aider","state":"idle","input_tokens":1000000000001,"output_tokens":-1000000000001,)"
       R"("cached_tokens":18446744073709551615,"reasoning_tokens":1e18})",
       eventOf(AgentType::aider, idle, "aider-default")},
      // Only the top level counts.
      {R"({"agent":"aider","state":"idle","x":{"session_id":"inner","pid":7},"y":[{"cwd":"/"}]})",
       eventOf(AgentType::aider, idle, "aider-default")},
  };
  for (const auto& [json, expected] : cases) EXPECT_EQ(decoded(json), expected) << json;
}

TEST(HookEvent, EveryFieldSurvivesTheWayThere) {
  HookEvent event =
      HookEvent::of(AgentType::opencode, AgentState::error, Date::fromUnix(1795262400.125), "id \"x\"");
  event.schema = 2;
  event.pid = -5;
  event.cwd = "/Users/me/größe";
  event.inputTokens = largestTokenCount;
  event.outputTokens = -largestTokenCount;
  event.cachedTokens = 0;
  event.reasoningTokens = 4;
  event.model = "m";
  event.turnId = "t";
  const auto json = encodeHookEvent(event);
  ASSERT_TRUE(json);
  EXPECT_EQ(
      *json,
      R"({"schema":2,"agent":"opencode","session_id":"id \"x\"","state":"error","timestamp":1795262400.125,)"
      R"("pid":-5,"cwd":"/Users/me/größe","input_tokens":1000000000000,"output_tokens":-1000000000000,)"
      R"("cached_tokens":0,"reasoning_tokens":4,"model":"m","turn_id":"t"})");
  EXPECT_EQ(decoded(*json), event);
}

TEST(HookEvent, EncodingOmitsWhatIsAbsentAndRefusesATimeWithoutForm) {
  HookEvent event = eventOf(AgentType::claude, AgentState::idle, "");
  EXPECT_EQ(
      encodeHookEvent(event),
      R"({"schema":1,"agent":"claude","session_id":"claude-default","state":"idle","timestamp":1795262400.0})");
  event.timestamp = {std::numeric_limits<double>::infinity()};
  EXPECT_EQ(encodeHookEvent(event), std::nullopt);
}

TEST(HookEvent, MalformedBytesAreAnErrorWithAPrintableReason) {
  const std::string whole = R"({"agent":"claude","state":"working"})";
  const std::pair<std::string, const char*> cases[] = {
      {"", "not valid JSON (byte 1 of 0)"},
      {"not json", "not valid JSON (byte 2 of 8)"},
      {whole + "x", "not valid JSON (byte 37 of 37)"},
      {whole + std::string("\0x", 2), "not valid JSON (byte 37 of 38)"},
      {"[]", "expected an object"},
      {"null", "expected an object"},
      {R"({"state":"working"})", "agent: expected a string"},
      {R"({"agent":null,"state":"working"})", "agent: expected a string"},
      {R"({"agent":"claude","state":3})", "state: expected a string"},
      {R"({"agent":"claude","state":"idle","timestamp":1e999})", "a number is out of range"},
      {"{\"agent\":\"\xff\",\"state\":\"idle\"}", "not valid JSON (byte 11 of 28)"},
      {R"({"agent":"claude","state":"idle","x":)" + std::string(60000, '['), "nested too deeply"},
      {std::string(60000, '['), "expected an object"},
  };
  for (const auto& [bytes, reason] : cases) {
    const auto event = decodeHookEvent(bytes, now);
    ASSERT_FALSE(event) << bytes.substr(0, 60);
    EXPECT_EQ(event.error().description, reason) << bytes.substr(0, 60);
  }
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(decodeHookEvent(std::string_view(whole).substr(0, length), now)) << length;
  }
}

// Whatever decodes can be encoded again, and decodes to the same.
TEST(HookEvent, DamagedEventsNeverCrashAndNeverBreakTheRoundTrip) {
  std::mt19937 random(20261121);
  const std::string seed =
      R"({"schema":1,"agent":"claude","session_id":"\ud83d\ude00","state":"idle","timestamp":1.5e3,"pid":1,"cwd":"/é"})";
  int survivors = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string bytes = seed;
    for (auto count = random() % 4; count > 0; --count) {
      bytes[random() % bytes.size()] = static_cast<char>(random());
    }
    const auto event = decodeHookEvent(bytes, now);
    if (!event) continue;
    ++survivors;
    EXPECT_FALSE(event->sessionId.empty());
    const auto again = encodeHookEvent(*event);
    ASSERT_TRUE(again) << bytes;
    EXPECT_EQ(decoded(*again), *event) << bytes;
  }
  EXPECT_GT(survivors, 5000);
}

}  // namespace
}  // namespace vigilo
