#include "VigiloApp/commands/Failure.h"

#include <cstdio>

namespace vigilo {

void note(const std::string& message) {
  std::fprintf(stderr, "vigilo: %s\n", message.c_str());
}

int fail(int exitCode, const std::string& message) {
  note(message);
  return exitCode;
}

int fail(const std::optional<ControlResponse>& response) {
  if (!response) return fail(exitNoHost, "no host runs, so nothing is held. Start one with `vigilo run`.");
  return fail(response->exitCode == exitOk ? exitUnavailable : response->exitCode,
              response->message.value_or("the running host gave no answer to this"));
}

}  // namespace vigilo
