#pragma once

#include <optional>
#include <string>

#include "VigiloApp/control/ControlClient.h"

namespace vigilo {

// A report of the running host, or what went wrong.
struct FetchedReport {
  std::optional<std::string> text;
  int exitCode = exitOk;  // exitNoHost where none runs
  std::string problem;    // for people, when there is no text
};

// Fetches a report of one moment, piece by piece: it may be larger than a control message. `command` asks for
// it, and its pieces travel in that field of the response. Blocks; thread-safe as the client is.
FetchedReport fetchReport(const ControlClient& client, ControlCommand command,
                          std::optional<TextPage> ControlResponse::*field);

}  // namespace vigilo
