#pragma once

#include <cstdint>
#include <memory>
#include <optional>
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

// --- logind, on the system bus. Each call has a connection of its own: none is kept open. A logind, or a
// bus, that let a call wait in vain is not asked again for three seconds: calls fail at once then. ---

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

// The active power profile ("power-saver", "balanced", "performance"), on the system bus; no service is
// started for the question.
Result<std::string, Error> powerProfile();

// --- Inhibitions of the desktop session, on the session bus ---

// Who holds them, in the words of the desktops.
enum class SessionService { sessionManager, powerManagement, screenSaver, portal };
inline constexpr std::size_t sessionServiceCount = 4;
const char* displayName(SessionService service);  // for people

// A connection to the session bus. What is inhibited through it ends with it, with the service that holds it,
// or with `uninhibit`, whichever comes first. Thread-safe.
class SessionConnection {
 public:
  // What to keep from happening; for services that can tell the two apart.
  enum class Scope { systemSleep, systemAndDisplaySleep };

  struct Inhibition {
    SessionService service{};
    std::uint32_t cookie = 0;
    std::string request;  // the portal's, in place of the cookie
  };

  static Result<std::shared_ptr<SessionConnection>, Error> open();
  ~SessionConnection();

  // Whether the service runs now; the question starts nothing.
  Result<bool, Error> hasOwner(SessionService service);
  Result<Inhibition, Error> inhibit(SessionService service, Scope scope, const std::string& why);
  void uninhibit(const Inhibition& inhibition);

  // A number that differs once any of the services has come, gone or been replaced; absent when the
  // connection is lost. Costs no exchange with the bus.
  std::optional<std::uint64_t> generation();

 private:
  struct Bus;
  explicit SessionConnection(std::unique_ptr<Bus> bus);
  const std::unique_ptr<Bus> bus_;
};

}  // namespace vigilo::bus
