#pragma once

#include <string>

namespace vigilo {

// The absolute path of the program that calls, links resolved; empty where the system does not tell. After an
// update while it runs it is the path of the new program. Thread-safe.
std::string ownProgram();

}  // namespace vigilo
