#include "agents/AgentPlaces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace vigilo {
namespace {

using Folders = std::vector<std::string>;

TEST(AgentPlaces, VariablesAddToTheUsualPlaces) {
  const std::map<std::string, std::string> variables{{"CLAUDE_CONFIG_DIR", "/srv//claude/"},
                                                     {"CODEX_HOME", "relative"},
                                                     {"GEMINI_CLI_HOME", "/srv"},
                                                     {"XDG_DATA_HOME", "/home/u/.local/share"}};
  Directories directories = Directories::below("/home/u");
  addAgentFolders(directories, AgentPlaces::namedByVariables([&](const char* name) {
                    const auto found = variables.find(name);
                    return found == variables.end() ? std::nullopt : std::optional(found->second);
                  }));
  const AgentPlaces places = AgentPlaces::of(directories);
  EXPECT_EQ(places.claudeProjects, (Folders{"/home/u/.claude/projects", "/srv/claude/projects"}));
  EXPECT_EQ(places.codexSessions, (Folders{"/home/u/.codex/sessions"}));
  EXPECT_EQ(places.geminiWork, (Folders{"/home/u/.gemini/tmp", "/srv/.gemini/tmp"}));
  EXPECT_EQ(places.openCodeDatabases, (Folders{"/home/u/.local/share/opencode/opencode.db"}));
  for (const char* place : {"/srv/claude", "/srv/.gemini", "/home/u/.claude.json"})
    EXPECT_TRUE(std::ranges::count(places.prohibited, place)) << place;
}

// To protect such a folder would bar this system from its own files.
TEST(AgentPlaces, FoldersThatHoldOurOwnFilesAreNotTaken) {
  Directories directories = Directories::below("/home/u");
  addAgentFolders(directories, {.claude = {"/", "/home", "/home/u", "/home/u/Library", directories.vigilo(),
                                           "/srv/../home/u/"},
                                .codex = {"/srv/a", "/srv/a/"},
                                .gemini = {},
                                .openCode = {}});
  EXPECT_EQ(directories.agentFolders.claude, Folders{});
  EXPECT_EQ(directories.agentFolders.codex, Folders{"/srv/a"});
}

}  // namespace
}  // namespace vigilo
