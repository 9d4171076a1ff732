#include "agents/HookSnippet.h"

#include "support/RecordCoding.h"

namespace vigilo {

std::string quotedText(std::string_view text) {
  return coding::print(Json(text), {});
}

std::string shellWord(std::string_view text) {
  std::string word = "'";
  for (const char byte : text) {
    if (byte == '\'')
      word += "'\\''";
    else
      word += byte;
  }
  return word + "'";
}

std::string relayCommand(std::string_view relay, const HookForm& form, AgentState state) {
  std::string command = form.isGuarded ? shellWord(relay) : std::string(relay);
  command += " --agent ";
  command += rawValue(form.agent);
  command += " --state ";
  command += rawValue(state);
  return form.isGuarded ? command + " || true" : command;
}

std::string hooksAsJson(std::string_view relay, const HookForm& form, std::span<const HookState> hooks) {
  std::string text = "{\n  \"hooks\": {\n";
  for (const HookState& each : hooks) {
    std::string entry =
        "{\"type\": \"command\", \"command\": " + quotedText(relayCommand(relay, form, each.state)) +
        ", \"timeout\": " + std::to_string(form.timeout) + "}";
    if (form.isNested) entry = "{\"hooks\": [" + entry + "]}";
    text += "    " + quotedText(each.hook) + ": [" + entry + "]";
    text += &each == &hooks.back() ? "\n" : ",\n";
  }
  return text + "  }\n}";
}

std::string hooksAsToml(std::string_view relay, const HookForm& form, std::span<const HookState> hooks,
                        int endTimeout) {
  std::string text;
  for (const HookState& each : hooks) {
    const std::string name = each.hook;
    const int timeout = name == "SessionEnd" ? endTimeout : form.timeout;
    text += text.empty() ? "" : "\n";
    text += "[[hooks." + name + "]]\n[[hooks." + name +
            ".hooks]]\ntype = \"command\"\ncommand = " + quotedText(relayCommand(relay, form, each.state)) +
            "\ntimeout = " + std::to_string(timeout) + "\n";
  }
  return text;
}

}  // namespace vigilo
