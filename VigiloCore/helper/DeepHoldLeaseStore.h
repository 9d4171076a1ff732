#pragma once

#include <optional>
#include <string>
#include <tuple>

#include "helper/HelperProtocol.h"
#include "platform/SystemPowerControlling.h"
#include "support/AtomicFile.h"
#include "support/AwakeClock.h"
#include "support/Date.h"
#include "support/Log.h"
#include "support/Mutex.h"

namespace vigilo {

// What the store remembers, in memory and in its file.
struct DeepHoldStateRecord {
  bool isHolding = false;
  std::optional<std::string> activeLeaseId;
  std::optional<Date> expiresAt;       // by the wall clock
  std::optional<double> ttlSeconds;    // that were last asked for; absent in older records
  bool originalSleepDisabled = false;  // the system's setting before the store's own change
  // Whether the store's own change is, or may be, in the system. Absent in an idle record where it is not,
  // and in older ones, whose holds over an original "sleep enabled" owe.
  std::optional<bool> owesRestoration;

  bool operator==(const DeepHoldStateRecord&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("isHolding", &DeepHoldStateRecord::isHolding),
                      field("activeLeaseId", &DeepHoldStateRecord::activeLeaseId),
                      field("expiresAt", &DeepHoldStateRecord::expiresAt),
                      field("ttlSeconds", &DeepHoldStateRecord::ttlSeconds),
                      field("originalSleepDisabled", &DeepHoldStateRecord::originalSleepDisabled),
                      field("owesRestoration", &DeepHoldStateRecord::owesRestoration)};
  }
};

// The daemon's one piece of state: whether it holds system sleep disabled, under which lease, until when, and
// what the system's own setting was before.
//
// A lease is a dead-man switch: the host acquires it, keeps renewing it, and releases it; a lease that is not
// renewed in time is ended by the watchdog. The original setting is captured when a hold begins and restored
// when it ends, and only where it was "sleep enabled": who had disabled sleep by other means keeps that. A
// second acquirer takes the hold over; a renewal under any identifier counts.
//
// While the store lives, the time that the machine was awake decides when a lease ends: nobody lengthens or
// shortens it by setting the clock. The recorded date is what a restarted daemon has; it counts for no more
// than the lease that was asked for. Where the clock was set, the date follows.
//
// The record is saved before the controller changes anything and after every change, so that a restarted
// daemon knows of the hold that it inherits, and of a restoration that is owed. A failing save or a failing
// controller does not fail the operation: the record in memory rules, and each tick of the watchdog tries
// again to save, to put the hold in force, or to restore. Only a setting that outlives the process is not
// touched before the record is saved.
//
// Thread-safe: one lock guards each operation from start to end, the controller's calls included. The
// controller must outlive the store.
class DeepHoldLeaseStore {
 public:
  // Reads the file, if one is named; one that is missing or damaged counts as none. Changes nothing. Without
  // a file the record lives in memory only.
  DeepHoldLeaseStore(SystemPowerControlling& powerController, std::optional<std::string> stateFile,
                     WriteGate mayWrite, Clock clock, AwakeClock awakeClock);

  DeepSleepStatus status() VIGILO_EXCLUDES(lock_);
  bool isHolding() const VIGILO_EXCLUDES(lock_);
  // Whether a lease that has not lapsed asks for a hold that is not in force.
  bool isWaitingForHold() VIGILO_EXCLUDES(lock_);

  // Takes the hold, or takes over an existing one; always true. `ttlSeconds` must fit a whole number of
  // seconds: anything else aborts.
  bool acquire(const std::string& leaseId, double ttlSeconds) VIGILO_EXCLUDES(lock_);
  // Extends the hold under the identifier; false when nothing is held.
  bool renew(const std::string& leaseId, double ttlSeconds) VIGILO_EXCLUDES(lock_);
  // Gives the hold back; false when the identifier names another lease than the active one.
  bool release(const std::optional<std::string>& leaseId) VIGILO_EXCLUDES(lock_);
  // Ends a lapsed hold (true), or puts in order what has been lost or failed (false).
  bool checkWatchdog() VIGILO_EXCLUDES(lock_);

  // Takes again an unexpired hold that an earlier process took, where the setting dies with its process. For
  // the daemon's start, before it serves anybody.
  void retakeInheritedHold() VIGILO_EXCLUDES(lock_);

 private:
  void setLease(const std::string& leaseId, double ttlSeconds) VIGILO_REQUIRES(lock_);
  void begin() VIGILO_REQUIRES(lock_);
  void _internalRelease() VIGILO_REQUIRES(lock_);
  bool hasLapsed() const VIGILO_REQUIRES(lock_);
  std::optional<Date> expiry() const VIGILO_REQUIRES(lock_);
  void followWallClock() VIGILO_REQUIRES(lock_);
  void ensureInForce() VIGILO_REQUIRES(lock_);
  bool owesRestoration() const VIGILO_REQUIRES(lock_);
  void lookAtOriginal() VIGILO_REQUIRES(lock_);
  void disableSleep() VIGILO_REQUIRES(lock_);
  bool restore() VIGILO_REQUIRES(lock_);
  void retryRestoration() VIGILO_REQUIRES(lock_);
  void retrySave() VIGILO_REQUIRES(lock_);
  bool saveState() VIGILO_REQUIRES(lock_);

  SystemPowerControlling& powerController_;
  const std::optional<std::string> stateFile_;
  const WriteGate mayWrite_;
  const Clock clock_;
  const AwakeClock awakeClock_;
  mutable Mutex lock_;
  DeepHoldStateRecord state_ VIGILO_GUARDED_BY(lock_);
  std::optional<double> lapsesAt_ VIGILO_GUARDED_BY(lock_);  // by the awake clock; with `expiresAt`
  FailureEpisode saveFailure_ VIGILO_GUARDED_BY(lock_);
  bool isSaved_ VIGILO_GUARDED_BY(lock_) = true;
};

}  // namespace vigilo
