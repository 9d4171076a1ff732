#pragma once

#include <optional>
#include <string_view>

#include "agents/ProcessMatch.h"
#include "platform/ProcessTable.h"

namespace vigilo {

// Which agent's process a line of the process table is, if any, by the words of its command alone. Plain
// tests of substrings, prefixes and suffixes in upper and lower case as written. Pure; thread-safe.
//
// One command says nothing about work, an agent's bare name (`isBareAgent`): its match reads as idle here.
std::optional<ProcessMatch> classifyProcess(const ProcessLine& line);

// Whether the command is nothing but the name of an agent, which shows the same at its prompt and at work.
bool isBareAgent(std::string_view command);

}  // namespace vigilo
