#pragma once

#include <optional>
#include <string>

#include "VigiloApp/control/ControlProtocol.h"

namespace vigilo {

// Everything that a command says on standard error goes through here: texts from elsewhere, the host's
// messages say, do not carry the program's name.

// Tells people something on standard error, behind the program's name.
void note(const std::string& message);

// Tells people why a command was not carried out, and gives the exit code on.
int fail(int exitCode, const std::string& message);

// The same for a command that asked the host: for the host's own reason; because no host runs, without a
// response; and because the host sent nothing of use, where the response tells of no failure.
int fail(const std::optional<ControlResponse>& response);

}  // namespace vigilo
