#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/Directories.h"
#include "support/Subprocess.h"

namespace vigilo {

// What the adapters look at. The functions may be called from several threads at once.
struct AgentSurroundings {
  // What an executable has to say must come within this time: all are asked at once, and a person waits.
  static constexpr auto runLimit = std::chrono::milliseconds(2700);

  std::string home;
  // A variable of the user's environment.
  std::function<std::optional<std::string>(const char* name)> variable;
  // Runs an agent's executable within `runLimit` and captures its output. Absent when it cannot be launched
  // or had to be killed.
  std::function<std::optional<SubprocessResult>(const std::string& path,
                                                const std::vector<std::string>& arguments)>
      run;
  // Names and identifiers of the applications that run now.
  std::function<std::vector<std::string>()> runningApplications;

  // The user's own. Executables run in a home folder that is thrown away afterwards, because some agents
  // write into it whatever they are asked, and without the variables that would lead them back.
  static AgentSurroundings ofThisMachine(const Directories& directories,
                                         std::function<std::vector<std::string>()> runningApplications);

  // The executable of this name in the search path, else the fallback, where "~/" stands for the home folder;
  // absent where neither is an executable file.
  std::optional<std::string> findExecutable(const std::string& name, const std::string& fallback) const;
  // What it prints for `--version`, without blanks around it; absent when it fails or takes too long.
  std::optional<std::string> versionOf(const std::string& executable) const;
  // A folder that a variable may move, else the home folder followed by `fallback`.
  std::string folder(const char* variableName, const std::string& fallback) const;
  // A path as people write it: "~/" for the home folder.
  std::string shown(const std::string& path) const;
};

}  // namespace vigilo
