#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vigilo {

// Folders of agents that lie elsewhere than usual: those of Claude Code, Codex and Gemini as a whole, and
// OpenCode's data.
struct AgentFolders {
  std::vector<std::string> claude, codex, gemini, openCode;
};

// Where this system's files lie: one layout on every platform, below the home folder, because programs that
// meet at a socket must not depend on what else is in their environment. Absolute paths in normal form
// (support/NormalPath.h). A plain value.
struct Directories {
  std::string home;
  std::string library;             // ~/Library
  std::string applicationSupport;  // ~/Library/Application Support
  std::string preferences;         // ~/Library/Preferences
  std::string temporary;           // the process's temporary folder: $TMPDIR, else /tmp
  AgentFolders agentFolders;       // as the user's variables and settings name them

  // What lies below the home folder, which may be "/"; `place` begins with a slash.
  std::string atHome(std::string_view place) const {
    return std::string(home == "/" ? "" : home).append(place);
  }
  std::string vigilo() const { return applicationSupport + "/Vigilo"; }
  std::string run() const { return vigilo() + "/run"; }
  std::string hookSocket() const { return run() + "/vigilo.sock"; }
  std::string controlSocket() const { return run() + "/vigilo-control.sock"; }
  std::string instanceLock() const { return run() + "/vigilo.lock"; }
  // Where a helper without root listens.
  std::string helperSocket() const { return run() + "/vigilo-helper.sock"; }

  static Directories below(const std::string& home);
  static Directories ofCurrentUser();
};

// Where the helper listens when it runs as root.
inline constexpr const char* rootHelperSocket = "/var/run/vigilo-helper.sock";

}  // namespace vigilo
