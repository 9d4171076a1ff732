#pragma once

#include <string>

namespace vigilo {

// The home folder that every program of this system works below, without a slash at the end: `$HOME` where it
// is set and absolute, else the account's entry in /etc/passwd. The name service is not asked, so that static
// programs can call this. Empty when neither gives one. Thread-safe while nobody changes the environment.
std::string homeFolder();

// Where events are received: "Library/Application Support/Vigilo/run/vigilo.sock" below the home folder.
std::string hookSocketPath(const std::string& home);

}  // namespace vigilo
