#include <gtest/gtest.h>

#include <filesystem>

#include "agents/AgentRegistry.h"
#include "agents/RelayMention.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

using Applications = std::vector<std::string>;

// A home folder and a search path of the test's own; nothing is run for real.
class AgentAdapters : public testing::Test {
 protected:
  AgentAdapters() {
    surroundings_.home = folder_.path();
    surroundings_.variable = [this](const char* name) {
      const auto found = variables_.find(name);
      return found == variables_.end() ? std::nullopt : std::optional(found->second);
    };
    surroundings_.run = [this](const std::string&, const auto&) { return run_; };
    surroundings_.runningApplications = [this] { return applications_; };
    variables_["PATH"] = folder_.path("nothing") + ":" + folder_.path("bin");
  }

  void install(const std::string& below) {
    folder_.write(below, "#!/bin/sh\n");
    std::filesystem::permissions(folder_.path(below), std::filesystem::perms::owner_all);
  }
  AgentRegistry::Adapter adapter(AgentType agent) const {
    AgentRegistry registry(surroundings_);
    registry.registerDefaultAdapters();
    return registry.adapter(agent);
  }
  IntegrationStatus status(AgentType agent) const { return adapter(agent)->detect().get(); }

  const test::TempFolder folder_;
  AgentSurroundings surroundings_;
  std::map<std::string, std::string> variables_;
  Applications applications_;
  std::optional<SubprocessResult> run_ = SubprocessResult{0, " 2.1.329 (Claude Code)\n"};
};

constexpr const char* hooked =
    R"({"hooks": {"Stop": [{"hooks": [{"type": "command", "command": "/x/vigilo-relay --agent claude"}]}]}})";

TEST_F(AgentAdapters, AnExecutableCountsInTheSearchPathAndThenAtItsOwnPlace) {
  EXPECT_EQ(status(AgentType::claude).statusMessage, "Not installed");
  // Neither a folder nor a file that cannot be executed is one.
  std::filesystem::create_directories(folder_.path("nothing/claude"));
  folder_.write("bin/claude", "");
  EXPECT_FALSE(status(AgentType::claude).isInstalled);
  variables_.erase("PATH");
  install(".local/bin/claude");
  EXPECT_TRUE(status(AgentType::claude).isInstalled);
  install("bin/opencode");
  EXPECT_FALSE(status(AgentType::opencode).isInstalled);
  variables_["PATH"] = folder_.path("bin");
  EXPECT_EQ(status(AgentType::opencode).statusMessage, "Installed (Plugin not configured)");
}

TEST_F(AgentAdapters, AnAgentWhoseVersionCannotBeHadIsInstalled) {
  install("bin/claude");
  EXPECT_EQ(status(AgentType::claude).agentVersion, "2.1.329 (Claude Code)");
  for (const auto& failure : {std::optional<SubprocessResult>(), std::optional(SubprocessResult{1, "oops\n"}),
                              std::optional(SubprocessResult{0, " \n"})}) {
    run_ = failure;
    EXPECT_TRUE(status(AgentType::claude).isInstalled);
    EXPECT_EQ(status(AgentType::claude).agentVersion, std::nullopt);
  }
}

TEST_F(AgentAdapters, HooksCountInEitherFileOfClaudeAndTheOneThatNobodyReadsIsNamed) {
  install("bin/claude");
  EXPECT_EQ(status(AgentType::claude).statusMessage, "Installed (Hooks not configured)");
  folder_.write(".claude.json", hooked);
  EXPECT_EQ(status(AgentType::claude).statusMessage, "Hook active");
  auto findings = adapter(AgentType::claude)->configurations();
  ASSERT_EQ(findings.size(), 2u);
  EXPECT_FALSE(findings[0].exists);
  EXPECT_NE(findings[1].caveat->find("~/.claude/settings.json"), std::string::npos);

  folder_.write("moved/settings.json", hooked);
  variables_["CLAUDE_CONFIG_DIR"] = folder_.path("moved");
  findings = adapter(AgentType::claude)->configurations();
  EXPECT_EQ(findings[0].path, "~/moved/settings.json");
  EXPECT_TRUE(findings[0].mentionsRelay && !findings[0].caveat);
}

TEST_F(AgentAdapters, TheRegistryLooksForEachAgent) {
  for (const char* name : {"claude", "codex", "gemini", "opencode", "aider"})
    install(std::string("bin/") + name);
  applications_ = {"Cursor", "Windsurf", "Antigravity"};
  AgentRegistry registry(surroundings_);
  registry.registerDefaultAdapters();
  const auto statuses = registry.detectAll().get();
  EXPECT_EQ(statuses.size(), 8u);
  for (const auto& [agent, status] : statuses) EXPECT_TRUE(status.isInstalled) << displayName(agent);
}

TEST_F(AgentAdapters, AMalformedConfigurationIsReportedAndLeftAlone) {
  install("bin/gemini");
  const std::string text = "{\n  // mine\n  \"hooks\": {,}\n}\n";
  folder_.write(".gemini/settings.json", text);
  const auto finding = adapter(AgentType::gemini)->configurations()[0];
  EXPECT_EQ(finding.problem, "line 3, column 13: not valid JSON");
  EXPECT_EQ(status(AgentType::gemini).statusMessage, "Installed (~/.gemini/settings.json cannot be read)");
  EXPECT_EQ(folder_.read(".gemini/settings.json"), text);
}

TEST_F(AgentAdapters, AnApplicationIsFoundByNameOrIdentifierAndAToolInTheSearchPath) {
  EXPECT_EQ(status(AgentType::cursor).statusMessage, "Not installed");
  install("bin/cursor");
  EXPECT_EQ(status(AgentType::cursor).statusMessage, "Installed (Not running)");
  applications_ = {"Text Editor", "com.example.CURSOR.desktop"};
  EXPECT_EQ(status(AgentType::cursor).statusMessage, "Running (Process signal)");
  EXPECT_TRUE(status(AgentType::cursor).isIntegrationActive);
  EXPECT_FALSE(status(AgentType::windsurf).isInstalled);
  install("bin/aider");
  EXPECT_EQ(status(AgentType::aider).statusMessage, "Installed (CLI executable detected)");
}

TEST(RelayMention, JsonHooksCountAnywhereAndRunOnlyInTheNestedForm) {
  struct Case {
    std::string text;
    bool isMentioned, hasCaveat, isMalformed;
  };
  const Case cases[] = {
      {"", false, false, false},
      {"[]", false, false, false},
      {hooked, true, false, false},
      {R"({"hooks": {"Stop": [{"type": "command", "command": "vigilo-relay"}]}})", true, true, false},
      {R"({"hooks": "vigilo-relay"})", true, true, false},
      {R"({"hooks": {"Other": [{"note": "vigilo-relay"}], "Stop": [{"hooks": ["vigilo-relay"]}]}})", true,
       false, false},
      {R"({"hooks": {}, "env": {"x": "vigilo-relay"}})", false, false, false},
      {R"({"env": {"hooks": "vigilo-relay"}})", false, false, false},
      {R"(["hooks", "vigilo-relay"])", false, false, false},
      {"// Add to the \"hooks\" object\n" + std::string(hooked), false, false, true},
      {std::string(hooked) + "x", false, false, true},
  };
  for (const Case& each : cases) {
    const auto mention = relayInJsonHooks(each.text, JsonComments::no);
    EXPECT_EQ(mention.isMentioned, each.isMentioned) << each.text;
    EXPECT_EQ(mention.caveat.has_value(), each.hasCaveat) << each.text;
    EXPECT_EQ(mention.problem.has_value(), each.isMalformed) << each.text;
  }
  EXPECT_TRUE(relayInJsonHooks("/* a */ // b\n" + std::string(hooked), JsonComments::yes).isMentioned);
}

TEST(RelayMention, TomlCountsWhereCodexLooksAndNowhereElse) {
  struct Case {
    std::string text;
    bool isMentioned;
    std::string caveat;  // a part of it
  };
  const std::string hooks = "[[hooks.Stop]]\n[[hooks.Stop.hooks]]\ncommand = \"'/x/vigilo-relay' || true\"\n";
  const Case cases[] = {
      {"notify = [\n \"/x/vigilo-relay\", # mine\n]\n", true, "end of a turn"},
      {"# notify = [\"vigilo-relay\"]\n", false, ""},
      {"model = '''\nnotify = [\"vigilo-relay\"]\n'''\n", false, ""},
      {"notify = [\"notify-send\"] # vigilo-relay\n", false, ""},
      {"[tui]\nnotify = [\"vigilo-relay\"]\n", false, "[tui]"},
      {hooks, true, "trusted"},
      {hooks + "[hooks.state.\"/c:stop:0:0\"]\ntrusted_hash = \"1\"\n", true, ""},
      {"notify = [\"vigilo-relay\"]\n" + hooks + "[hooks.state]\n", true, ""},
  };
  for (const Case& each : cases) {
    const auto mention = relayInToml(each.text);
    EXPECT_EQ(mention.isMentioned, each.isMentioned) << each.text;
    EXPECT_EQ(mention.caveat.has_value(), !each.caveat.empty()) << each.text;
    EXPECT_NE(mention.caveat.value_or("").find(each.caveat), std::string::npos) << each.text;
  }
  EXPECT_EQ(relayInToml("a = 1\nnotify = [\n").problem.value_or("").rfind("line ", 0), 0u);
}

TEST(RelayCall, WhatIsWrongWithACommandIsReadOffItAsAShellDoes) {
  const auto isProgram = [](const std::string& relay) { return relay == "/x y/vigilo-relay"; };
  const std::pair<const char*, const char*> rows[] = {
      {"'/x y/vigilo-relay' --agent claude --state working || true", ""},
      {"/x\\ y/vigilo-relay --agent Claude --state Idle", ""},
      {"[ -x /gone/vigilo-relay ] && \"/x y/vigilo-relay\" --state error --agent claude", ""},
      {"\"$HOME/bin/vigilo-relay\" --agent claude --state \"$STATE\"", ""},
      {"vigilo-relay", ""},
      {"echo '--agent vigilo-relay", ""},
      {"sleep 1; '/gone/it'\\''s/vigilo-relay' --agent claude",
       "it runs /gone/it's/vigilo-relay, which is not there"},
      {"'/x y/vigilo-relay' --agent cladue --state idle", "must say \"claude\""},
      {"'/x y/vigilo-relay' --agent codex --state idle", "another agent's"},
      {"\"$HOME/vigilo-relay\" --agent claude --state workng", "Did you mean \"working\"?"}};
  for (const auto& [command, fault] : rows) {
    const auto found = faultInRelayCalls(relayCallsInCommand(command), AgentType::claude, isProgram);
    EXPECT_EQ(found.has_value(), *fault != 0) << command;
    EXPECT_NE(found.value_or("").find(fault), std::string::npos) << *found;
  }
}

TEST_F(AgentAdapters, AConfiguredRelayThatIsNotThereIsAFaultWhereTheFileIsRead) {
  const std::string relay = folder_.path("bin/vigilo-relay");
  const auto fault = [&](AgentType agent) {
    for (const auto& finding : adapter(agent)->configurations())
      if (finding.fault) return finding.path + ": " + *finding.fault;
    return std::string();
  };
  const std::pair<AgentType, const char*> files[] = {
      {AgentType::claude, ".claude/settings.json"},
      {AgentType::codex, ".codex/config.toml"},
      {AgentType::gemini, ".gemini/settings.json"},
      {AgentType::opencode, ".config/opencode/plugins/vigilo.js"}};
  for (const auto& [agent, file] : files) {
    folder_.write(file, adapter(agent)->currentReleaseSetup(relay)->snippet);
    EXPECT_EQ(fault(agent), "~/" + std::string(file) + ": it runs " + relay + ", which is not there");
  }
  folder_.write(".codex/config.toml", adapter(AgentType::codex)->manualSetupSnippet(relay));
  EXPECT_NE(fault(AgentType::codex), "");
  folder_.write(".claude.json",
                adapter(AgentType::claude)->currentReleaseSetup("/gone/vigilo-relay")->snippet);
  install("bin/vigilo-relay");
  for (const auto& [agent, file] : files) EXPECT_EQ(fault(agent), "");
}

TEST_F(AgentAdapters, EachPluginIsToldFromTheOther) {
  for (const auto& [text, isMentioned, hasCaveat] :
       {std::tuple{adapter(AgentType::opencode)->manualSetupSnippet(std::nullopt), true, true},
        std::tuple{adapter(AgentType::opencode)->currentReleaseSetup("/x/vigilo-relay")->snippet, true,
                   false},
        std::tuple{std::string("  // spawn('vigilo-relay')\n"), false, false}}) {
    const auto mention = relayInPlugin(text);
    EXPECT_EQ(mention.isMentioned, isMentioned) << text;
    EXPECT_EQ(mention.caveat.has_value(), hasCaveat) << text;
  }
}

}  // namespace
}  // namespace vigilo
