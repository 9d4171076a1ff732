#include "agents/RelayCall.h"

#include <algorithm>
#include <iterator>

#include "agents/HookEvent.h"
#include "support/NearestWord.h"

namespace vigilo {
namespace {

bool isRelay(std::string_view word) {
  return word.substr(word.rfind('/') + 1) == relayName;
}

// Splits a command line into words as a shell does, but fills nothing in. An empty word ends a simple
// command.
class ShellWords {
 public:
  explicit ShellWords(std::string_view line) {
    for (at_ = line.begin(); at_ != line.end(); ++at_) take(*at_, line.end());
    end();
  }
  std::vector<std::string> words;

 private:
  using Place = std::string_view::const_iterator;

  void take(char byte, Place last) {
    if (quote_ == '\'') {
      if (byte == '\'')
        quote_ = 0;
      else
        word_ += byte;
    } else if (byte == '\\' && std::next(at_) != last) {
      word_ += *++at_;
      isWord_ = true;
    } else if (quote_ == '"') {
      if (byte == '"')
        quote_ = 0;
      else
        word_ += byte;
    } else if (byte == '"' || byte == '\'') {
      quote_ = byte;
      isWord_ = true;
    } else if (byte == ' ' || byte == '\t') {
      end();
    } else if (std::string_view("\n;|&()").find(byte) != std::string_view::npos) {
      end();
      words.emplace_back();
    } else {
      word_ += byte;
      isWord_ = true;
    }
  }

  void end() {
    if (isWord_) words.push_back(word_);
    word_.clear();
    isWord_ = false;
  }

  Place at_{};
  char quote_ = 0;
  std::string word_;
  bool isWord_ = false;
};

bool isFilledIn(const std::string& word) {
  return word.find_first_of("$`") != std::string::npos;
}

std::optional<std::string> behind(std::span<const std::string> words, std::string_view option) {
  const auto found = std::ranges::find(words, option);
  if (found == words.end() || std::next(found) == words.end()) return std::nullopt;
  const std::string& value = *std::next(found);
  return isFilledIn(value) ? std::nullopt : std::optional(value);
}

std::string quoted(std::string_view option, const std::string& word) {
  return "it says " + std::string(option) + " \"" + word + "\", ";
}

std::optional<std::string> faultIn(const RelayCall& call, AgentType agent,
                                   const std::function<bool(const std::string&)>& isProgram) {
  if (!isFilledIn(call.relay) && !isProgram(call.relay))
    return "it runs " + call.relay + ", which is not there";
  if (call.agent && agentNamed(*call.agent) != agent) {
    return quoted("--agent", *call.agent) + "so its events count as another agent's: it must say \"" +
           std::string(rawValue(agent)) + "\"";
  }
  if (call.state && !stateNamed(*call.state))
    return quoted("--state", *call.state) + "which is no state." + didYouMean(*call.state, stateNames);
  return std::nullopt;
}

}  // namespace

std::optional<RelayCall> relayCallInWords(std::span<const std::string> words) {
  const auto relay = std::ranges::find_if(words, isRelay);
  if (relay == words.end()) return std::nullopt;
  const std::span<const std::string> rest(std::next(relay), words.end());
  RelayCall call{*relay, behind(rest, "--agent"), behind(rest, "--state")};
  // Without either it is only looked for, not run.
  const bool isCalled = std::ranges::any_of(
      rest, [](const std::string& word) { return word == "--agent" || word == "--state"; });
  return isCalled ? std::optional(std::move(call)) : std::nullopt;
}

std::vector<RelayCall> relayCallsInCommand(std::string_view commandLine) {
  const std::vector<std::string> words = ShellWords(commandLine).words;
  std::vector<RelayCall> calls;
  for (auto begin = words.begin(); begin != words.end();) {
    const auto end = std::find(begin, words.end(), "");
    if (auto call = relayCallInWords({begin, end})) calls.push_back(*std::move(call));
    begin = end == words.end() ? end : std::next(end);
  }
  return calls;
}

std::optional<std::string> faultInRelayCalls(std::span<const RelayCall> calls, AgentType agent,
                                             const std::function<bool(const std::string&)>& isProgram) {
  for (const RelayCall& call : calls) {
    if (auto fault = faultIn(call, agent, isProgram)) return fault;
  }
  return std::nullopt;
}

}  // namespace vigilo
