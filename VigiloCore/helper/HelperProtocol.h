#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "support/Date.h"
#include "support/RecordFields.h"

// What the host and the helper daemon say to each other: one JSON request and one JSON response on a
// connection of its own over a UNIX-domain stream socket, each sent with a single write and read with a
// single read of at most `helperMessageLimit` bytes. Dates are numbers of seconds since 2001-01-01 00:00:00
// UTC.
namespace vigilo {

inline constexpr std::size_t helperMessageLimit = 8192;
inline constexpr double defaultLeaseSeconds = 60.0;
// A longer lease is refused: nothing on the wire can make the helper hold for ever.
inline constexpr double longestLeaseSeconds = 86400.0;

// Whether a time to live converts to a 64-bit number of whole seconds; false for what is not finite.
constexpr bool fitsWholeSeconds(double seconds) {
  constexpr double limit = 9223372036854775808.0;  // 2^63
  return seconds >= -limit && seconds < limit;
}

// A lease under a longer identifier is refused: a status that repeats it must fit a message.
inline constexpr std::size_t longestLeaseId = 256;

enum class HelperCommand {
  status,     // report; changes nothing
  acquire,    // take or re-take the deep hold under a lease
  renew,      // extend the active lease
  release,    // give the hold back
  uninstall,  // release unconditionally; the answer comes first
};

template <>
struct RawValues<HelperCommand> {
  static constexpr std::array table{std::pair{HelperCommand::status, std::string_view("status")},
                                    std::pair{HelperCommand::acquire, std::string_view("acquire")},
                                    std::pair{HelperCommand::renew, std::string_view("renew")},
                                    std::pair{HelperCommand::release, std::string_view("release")},
                                    std::pair{HelperCommand::uninstall, std::string_view("uninstall")}};
};

struct HelperRequest {
  HelperCommand command{};
  std::optional<std::string> leaseId;
  std::optional<double> ttlSeconds;  // absent means defaultLeaseSeconds

  bool operator==(const HelperRequest&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("command", &HelperRequest::command), field("leaseId", &HelperRequest::leaseId),
                      field("ttlSeconds", &HelperRequest::ttlSeconds)};
  }
};

struct DeepSleepStatus {
  bool isHelperInstalled = false;  // the daemon answered
  bool isDeepHoldActive = false;   // a lease asks for system sleep to be disabled
  std::optional<std::string> activeLeaseId;
  std::optional<Date> leaseExpiresAt;
  // The setting before the current or most recent hold; the daemon always sends it.
  std::optional<bool> originalSleepDisabledState;
  bool currentSystemSleepDisabled = false;   // the setting as read for this answer
  std::optional<std::int64_t> holderUserId;  // who acquired the lease; absent when that is not known

  // A lease is active and yet the system may sleep.
  bool isAskedForButNotInForce() const { return isDeepHoldActive && !currentSystemSleepDisabled; }

  bool operator==(const DeepSleepStatus&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("isHelperInstalled", &DeepSleepStatus::isHelperInstalled),
                      field("isDeepHoldActive", &DeepSleepStatus::isDeepHoldActive),
                      field("activeLeaseId", &DeepSleepStatus::activeLeaseId),
                      field("leaseExpiresAt", &DeepSleepStatus::leaseExpiresAt),
                      field("originalSleepDisabledState", &DeepSleepStatus::originalSleepDisabledState),
                      field("currentSystemSleepDisabled", &DeepSleepStatus::currentSystemSleepDisabled),
                      field("holderUserId", &DeepSleepStatus::holderUserId)};
  }
};

struct HelperResponse {
  bool ok = false;
  std::optional<DeepSleepStatus> status;  // after the command; absent when the request could not be decoded
  std::optional<std::string> error;       // only when the request could not be decoded

  bool operator==(const HelperResponse&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("ok", &HelperResponse::ok), field("status", &HelperResponse::status),
                      field("error", &HelperResponse::error)};
  }
};

}  // namespace vigilo
