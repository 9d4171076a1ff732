#include "HookInput.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "EventText.h"
#include "agents/HookEvent.h"

namespace vigilo::relay {
namespace {

struct Picked {
  std::string sessionId, cwd, type;
  bool operator==(const Picked&) const = default;
};

// Feeds the bytes in pieces of the given size.
Picked pick(std::string_view bytes, std::size_t piece) {
  HookInput input;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
    input.feed(bytes.substr(0, piece));
  }
  return {std::string(input.sessionId()), std::string(input.workingFolder()), std::string(input.type())};
}

TEST(HookInput, PicksTheTopLevelOnly) {
  struct Case {
    std::string json;
    Picked expected;
  };
  const Case cases[] = {
      // As the agents send them.
      {R"({"session_id":"c353b3b5","transcript_path":"/t","cwd":"/Users/me/proj","hook_event_name":"PreToolUse",)"
       R"("tool_name":"Bash","tool_input":{"command":"echo hi","session_id":"no","cwd":"/no"}})",
       {"c353b3b5", "/Users/me/proj", ""}},
      {R"({"type":"agent-turn-complete","thread-id":"01a1","turn-id":"0","cwd":"/p","input-messages":["a","b"]})",
       {"01a1", "/p", "agent-turn-complete"}},
      // What stands inside comes first, or looks like the top level.
      {R"({"tool_input":{"session_id":"no","x":[{"cwd":"/no"}]},"session_id":"yes"})", {"yes", "", ""}},
      {R"({"a":["session_id","no"],"b":"session_id","c":"cwd","session_id":"yes"})", {"yes", "", ""}},
      {R"({"prompt":"\"session_id\":\"no\",{[","session_id":"yes"})", {"yes", "", ""}},
      {R"([{"session_id":"no"}])", {"", "", ""}},
      {R"("session_id")", {"", "", ""}},
      // Values of other types, repetitions, either id.
      {R"({"session_id":5,"cwd":null,"type":["x"]})", {"", "", ""}},
      {R"({"session_id":"first","session_id":"second"})", {"first", "", ""}},
      {R"({"thread-id":"t","session_id":"s"})", {"s", "", ""}},
      {R"({"session_id":"","thread-id":"t"})", {"t", "", ""}},
      {" \n{ \"cwd\" :\t\"/a\" , \"session_id\" : \"s\" } trailing \"cwd\"", {"s", "/a", ""}},
      {R"({"session_idx":"no","session_i":"no","xsession_id":"no","a very long key that ends in cwd":"no"})",
       {"", "", ""}},
      // Escapes.
      {R"({"session_i\u0064":"\u00e9\ud83d\ude00\n\"\\\/","cwd":"\u20ac"})", {"é😀\n\"\\/", "€", ""}},
      {R"({"session_id":"\ud83dx\ude00y\ud83d\n\ud83d","cwd":"\u12"})",
       {"\uFFFDx\uFFFDy\uFFFD\n\uFFFD", "\uFFFD", ""}},
      // Cut short.
      {R"({"session_id":"s","cwd":"/a)", {"s", "/a", ""}},
      {R"({"session_id":"s","cwd")", {"s", "", ""}},
      {"", {"", "", ""}},
  };
  for (const auto& [json, expected] : cases) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, json.size() + 1}) {
      EXPECT_EQ(pick(json, piece), expected) << json << " in pieces of " << piece;
    }
  }
}

TEST(HookInput, AnAbsurdlyLongIdIsCutAndSuchAPathIsDropped) {
  const std::string json =
      R"({"session_id":")" + std::string(600, 's') + R"(","cwd":"/)" + std::string(5000, 'p') + "\"}";
  const Picked found = pick(json, 100);
  EXPECT_EQ(found.sessionId, std::string(512, 's'));
  EXPECT_EQ(found.cwd, "");
}

TEST(HookInput, KnowsWhenTheObjectHasEnded) {
  HookInput input;
  input.feed(R"({"a":{"b":[1,{}]})");
  EXPECT_FALSE(input.isComplete());
  input.feed(R"(,"session_id":"s"})");
  EXPECT_TRUE(input.isComplete());
  HookInput text;
  text.feed("  hello");
  EXPECT_TRUE(text.isComplete()) << "there is no object";
}

// Whatever comes in, the event that goes out is one that the receiver takes.
TEST(EventText, IsAValidEventWhateverCameIn) {
  std::mt19937 random(20261121);
  const std::string seed = R"({"session_id":"\ud83d\ude00\u0001é","cwd":"/a\\b","type":"x","y":{"z":[]}})";
  for (int i = 0; i < 20000; ++i) {
    std::string bytes = seed;
    for (auto count = random() % 6; count > 0; --count) {
      bytes[random() % bytes.size()] = static_cast<char>(random());
    }
    HookInput input;
    input.feed(bytes);
    EventText text;
    writeEvent({"claude", input.sessionId(), "working", input.workingFolder(), 1795262400, 5}, text);
    const auto event = decodeHookEvent(text.view(), Date{});
    ASSERT_TRUE(event) << text.view();
    EXPECT_EQ(event->agent, AgentType::claude);
    EXPECT_EQ(event->state, AgentState::working);
    EXPECT_NEAR(event->timestamp.unixSeconds(), 1795262400.000005, 1e-6);
    EXPECT_EQ(event->cwd.has_value(), !input.workingFolder().empty());
  }
}

TEST(EventText, HostileNamesStayWithinTheLimitAndAreMended) {
  const std::string controls(100000, '\x01');
  EventText text;
  writeEvent({controls, controls, controls, std::string_view(controls).substr(0, 4096), 1795262400, 999999},
             text);
  EXPECT_FALSE(text.isCut());
  EXPECT_TRUE(decodeHookEvent(text.view(), Date{}));

  EventText mended;
  const std::string broken = "a\xC3(\xED\xA0\x80\xF8\xE2\x82";
  writeEvent({"claude", broken, "idle", "/\xFF", 0, 0}, mended);
  const auto event = decodeHookEvent(mended.view(), Date{});
  ASSERT_TRUE(event);
  EXPECT_EQ(event->sessionId, "a\uFFFD(\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(event->cwd, "/\uFFFD");
}

}  // namespace
}  // namespace vigilo::relay
