#pragma once

#include <CLI/CLI.hpp>

namespace vigilo {

// What became of a command line that was not carried out: prints the help or the version where that was asked
// for; else says on standard error what is wrong, and the nearest right word. Returns the exit code.
int commandLineError(const CLI::App& commands, const CLI::ParseError& error);

// Accepts "on" and "off" only.
CLI::Validator onOrOffOnly();

}  // namespace vigilo
