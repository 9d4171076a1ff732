#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/Directories.h"

namespace vigilo {

// Where the agents keep their own files: the one place that says which folders those are and which variables
// move them, for whoever reads in them, and for the policy that lets nobody write there. A plain value; paths
// are absolute and in normal form.
struct AgentPlaces {
  std::vector<std::string> claudeProjects;     // folders of Claude Code's logs
  std::vector<std::string> codexSessions;      // folders of Codex's rollouts
  std::vector<std::string> geminiWork;         // folders with one for each project, where "chats" are
  std::vector<std::string> openCodeDatabases;  // files
  std::vector<std::string> prohibited;         // files and folders, all of them

  // The usual ones below the home folder first, then those that the directories name.
  static AgentPlaces of(const Directories& directories);

  // What the agents' own variables name. Of a host that was started before they were set, they tell nothing.
  static AgentFolders namedByVariables(
      const std::function<std::optional<std::string>(const char* name)>& variable);
};

// Adds the folders of `more`, but for those that name nothing new, and those that hold this system's own
// files or all of the home folder: there nothing could be protected without barring everything.
void addAgentFolders(Directories& directories, const AgentFolders& more);

}  // namespace vigilo
