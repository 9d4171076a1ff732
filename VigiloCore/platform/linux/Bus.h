#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/Result.h"
#include "support/UniqueFd.h"

// Every D-Bus call of this system stands behind this header, so that the bus library is seen in one file.
// Each call is synchronous, ends within two seconds and never throws. Thread-safe.
namespace vigilo::bus {

struct Error {
  int code = 0;  // errno: EACCES refused, ETIMEDOUT, ENOENT no bus or no such service, EIO anything else
  std::string description;  // the bus's own name and text
};

// --- logind, on the system bus. Each call has a connection of its own: none is kept open. ---

// Takes a block inhibitor for `what` ("idle", "sleep:handle-lid-switch"), shown under the name "Vigilo". It
// is held until the descriptor, which no child inherits, is closed: that needs no connection and survives a
// restart of logind.
Result<UniqueFd, Error> inhibit(const std::string& what, const std::string& why);

struct Inhibitor {
  std::string what, who, why, mode;
  std::uint32_t uid = 0;
  std::uint32_t pid = 0;
};
Result<std::vector<Inhibitor>, Error> listInhibitors();

Result<bool, Error> isLidClosed();
// What logind does by itself after a while without user input: "ignore", "suspend", ...
Result<std::string, Error> idleAction();

}  // namespace vigilo::bus
