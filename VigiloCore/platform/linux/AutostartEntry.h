#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vigilo {

// What an XDG autostart entry says, as far as it matters here. Reading is total: a file that is no entry has
// no command. A plain value.
struct AutostartEntry {
  std::vector<std::string> command;    // Exec, taken apart; field codes are left out
  std::optional<std::string> tryExec;  // the program without which the entry does not count
  bool isSwitchedOff = false;          // Hidden, or switched off in the session's settings

  // Whether it starts this system's host, whoever wrote it.
  bool startsHost() const;

  static AutostartEntry parse(std::string_view text);
  // A whole file that starts `program run` at login.
  static std::string starting(const std::string& program);
  // A whole file that keeps an entry of the same name for all users from starting.
  static std::string hiding();
};

}  // namespace vigilo
