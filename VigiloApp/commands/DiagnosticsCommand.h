#pragma once

#include <optional>
#include <string>

#include "platform/Directories.h"

namespace vigilo {

// `vigilo diagnostics [FILE]`: the running host's report, or, without a host that answers, one of what can be
// known without: the machine, its helper and everybody's inhibitors. The exit code then says that no host
// runs (3), or that it does not answer (69), although the report was written.
int diagnosticsCommand(const Directories& directories, const std::optional<std::string>& file);

}  // namespace vigilo
