#include "agents/AgentSurroundings.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <string_view>

extern char** environ;

namespace vigilo {
namespace {

constexpr std::string_view blanks = " \t\r\n\v\f";

// A folder that is gone, with all that was put there, at the end of its life.
class ThrowAwayFolder {
 public:
  explicit ThrowAwayFolder(const std::string& parent) : path_(parent + "/vigilo-version.XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) path_.clear();
  }
  ~ThrowAwayFolder() {
    std::error_code ignored;  // what a process is still writing stays in the temporary folder
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ThrowAwayFolder(const ThrowAwayFolder&) = delete;
  ThrowAwayFolder& operator=(const ThrowAwayFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Variables that tell an agent where its files lie, or that it runs inside another one.
constexpr std::string_view agentVariables[] = {"XDG_", "CLAUDE", "CODEX", "GEMINI", "OPENCODE", "AIDER"};

std::map<std::string, std::optional<std::string>> environmentIn(const std::string& home) {
  std::map<std::string, std::optional<std::string>> result{{"HOME", home}, {"TMPDIR", home}};
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view line = *entry;
    const auto leads = [&](std::string_view prefix) { return line.starts_with(prefix); };
    if (std::any_of(std::begin(agentVariables), std::end(agentVariables), leads))
      result.emplace(line.substr(0, line.find('=')), std::nullopt);
  }
  return result;
}

std::optional<SubprocessResult> runAway(const std::string& temporary, const std::string& path,
                                        const std::vector<std::string>& arguments) {
  const ThrowAwayFolder home(temporary);
  if (home.path().empty()) return std::nullopt;
  SubprocessOptions options{
      .captureOutput = true, .isSilent = true, .timeLimit = AgentSurroundings::runLimit};
  options.environment = environmentIn(home.path());
  return runProgram(path, arguments, options);
}

bool isExecutableFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

}  // namespace

AgentSurroundings AgentSurroundings::ofThisMachine(
    const Directories& directories, std::function<std::vector<std::string>()> runningApplications) {
  AgentSurroundings result;
  result.home = directories.home;
  result.variable = [](const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
  };
  result.run = [temporary = directories.temporary](const auto& path, const auto& arguments) {
    return runAway(temporary, path, arguments);
  };
  result.runningApplications = std::move(runningApplications);
  return result;
}

std::optional<std::string> AgentSurroundings::findExecutable(const std::string& name,
                                                             const std::string& fallback) const {
  if (const auto path = variable("PATH")) {
    for (std::size_t begin = 0; begin <= path->size();) {
      const std::size_t end = std::min(path->find(':', begin), path->size());
      std::string candidate = path->substr(begin, end - begin) + "/" + name;
      if (isExecutableFile(candidate)) return candidate;
      begin = end + 1;
    }
  }
  const std::string last = fallback.starts_with("~/") ? home + fallback.substr(1) : fallback;
  return isExecutableFile(last) ? std::optional(last) : std::nullopt;
}

std::optional<std::string> AgentSurroundings::versionOf(const std::string& executable) const {
  const auto result = run(executable, {"--version"});
  if (!result || result->exitStatus != 0) return std::nullopt;
  const std::string& output = result->standardOutput;
  const auto begin = output.find_first_not_of(blanks);
  if (begin == std::string::npos) return std::nullopt;
  return output.substr(begin, output.find_last_not_of(blanks) + 1 - begin);
}

std::string AgentSurroundings::folder(const char* variableName, const std::string& fallback) const {
  const auto moved = variable(variableName);
  return moved && moved->starts_with('/') ? *moved : home + fallback;
}

std::string AgentSurroundings::shown(const std::string& path) const {
  return path.starts_with(home + "/") ? "~" + path.substr(home.size()) : path;
}

}  // namespace vigilo
