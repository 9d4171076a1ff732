#include "helper/DeepHoldLeaseStore.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "support/RecordCoding.h"

namespace vigilo {

VIGILO_RECORD_CODING(DeepHoldStateRecord);

namespace {

constexpr Log logger{"com.vigilo.helper", "lease"};

// The record is a few hundred bytes; the identifier comes out of a message of at most this.
constexpr std::size_t longestStateFile = 8 * helperMessageLimit;

std::optional<DeepHoldStateRecord> loadRecord(const std::optional<std::string>& file) {
  if (!file) return std::nullopt;
  const auto text = readFile(*file, longestStateFile);
  if (!text) return std::nullopt;
  auto record = decodeRecord<DeepHoldStateRecord>(*text);
  if (!record) return std::nullopt;
  if (record->isHolding && !record->owesRestoration) record->owesRestoration = !record->originalSleepDisabled;
  return std::move(*record);
}

// The clocks' own unevenness is below this.
constexpr double clockStep = 1.0;  // seconds

}  // namespace

DeepHoldLeaseStore::DeepHoldLeaseStore(SystemPowerControlling& powerController,
                                       std::optional<std::string> stateFile, WriteGate mayWrite, Clock clock,
                                       AwakeClock awakeClock)
    : powerController_(powerController),
      stateFile_(std::move(stateFile)),
      mayWrite_(std::move(mayWrite)),
      clock_(std::move(clock)),
      awakeClock_(std::move(awakeClock)) {
  const auto loaded = loadRecord(stateFile_);
  const auto sleepDisabledNow = powerController_.readSleepDisabled();
  const LockGuard guard(lock_);
  if (loaded) {
    state_ = *loaded;
  } else {
    state_.originalSleepDisabled = sleepDisabledNow.value_or(false);
  }
  if (!state_.expiresAt) return;
  const double longest = std::min(state_.ttlSeconds.value_or(longestLeaseSeconds), longestLeaseSeconds);
  lapsesAt_ = awakeClock_() + std::min(*state_.expiresAt - clock_(), longest);
}

DeepSleepStatus DeepHoldLeaseStore::status() {
  const LockGuard guard(lock_);
  DeepSleepStatus status;
  status.currentSystemSleepDisabled = powerController_.readSleepDisabled().value_or(false);
  status.isHelperInstalled = true;
  status.isDeepHoldActive = state_.isHolding;
  status.activeLeaseId = state_.activeLeaseId;
  status.leaseExpiresAt = expiry();
  status.originalSleepDisabledState = state_.originalSleepDisabled;
  return status;
}

bool DeepHoldLeaseStore::isHolding() const {
  const LockGuard guard(lock_);
  return state_.isHolding;
}

bool DeepHoldLeaseStore::isWaitingForHold() {
  const LockGuard guard(lock_);
  return state_.isHolding && !hasLapsed() && !powerController_.readSleepDisabled().value_or(false);
}

bool DeepHoldLeaseStore::acquire(const std::string& leaseId, double ttlSeconds) {
  const LockGuard guard(lock_);
  setLease(leaseId, ttlSeconds);
  if (state_.isHolding) {
    logger.info("Renewed existing deep hold with lease %s", leaseId);
    ensureInForce();
  } else {
    begin();
    logger.info("Acquired deep hold lease %s (TTL: %lds, original: %{bool}d)", leaseId,
                static_cast<std::int64_t>(ttlSeconds), state_.originalSleepDisabled);
  }
  saveState();
  return true;
}

void DeepHoldLeaseStore::setLease(const std::string& leaseId, double ttlSeconds) {
  if (!fitsWholeSeconds(ttlSeconds)) fatal("a lease's time to live is not a number of seconds");
  state_.activeLeaseId = leaseId;
  state_.expiresAt = clock_() + ttlSeconds;
  state_.ttlSeconds = ttlSeconds;
  lapsesAt_ = awakeClock_() + ttlSeconds;
}

void DeepHoldLeaseStore::begin() {
  state_.isHolding = true;
  if (owesRestoration()) {
    // What is in the system may be our own: the original is the one from before.
    powerController_.writeSleepDisabled(true);
  } else {
    state_.owesRestoration = false;
    lookAtOriginal();
  }
}

bool DeepHoldLeaseStore::renew(const std::string& leaseId, double ttlSeconds) {
  const LockGuard guard(lock_);
  if (!state_.isHolding) return false;
  setLease(leaseId, ttlSeconds);
  saveState();
  logger.debug("Renewed lease %s until %s", leaseId, state_.expiresAt->description());
  return true;
}

bool DeepHoldLeaseStore::release(const std::optional<std::string>& leaseId) {
  const LockGuard guard(lock_);
  if (!state_.isHolding) return true;
  if (leaseId && state_.activeLeaseId && *leaseId != *state_.activeLeaseId) {
    logger.error("Release request for lease %s ignored, active is %s", *leaseId, *state_.activeLeaseId);
    return false;
  }
  _internalRelease();
  saveState();
  return true;
}

bool DeepHoldLeaseStore::checkWatchdog() {
  const LockGuard guard(lock_);
  retrySave();
  if (!state_.isHolding) {
    retryRestoration();
    return false;
  }
  followWallClock();
  if (!hasLapsed()) {
    ensureInForce();
    return false;
  }
  logger.error("Lease expired at %s (current time: %s). Watchdog releasing deep hold!",
               state_.expiresAt->description(), clock_().description());
  _internalRelease();
  saveState();
  return true;
}

void DeepHoldLeaseStore::retakeInheritedHold() {
  const LockGuard guard(lock_);
  followWallClock();
  ensureInForce();
}

void DeepHoldLeaseStore::_internalRelease() {
  if (!state_.isHolding) return;
  state_.isHolding = false;
  state_.activeLeaseId.reset();
  state_.expiresAt.reset();
  state_.ttlSeconds.reset();
  lapsesAt_.reset();
  if (owesRestoration()) {
    saveState();
    if (!restore()) logger.error("System sleep state not restored yet, trying again and again");
  } else {
    state_.owesRestoration.reset();
    if (state_.originalSleepDisabled)
      logger.info("Prior state was already sleep disabled, leaving untouched");
  }
}

bool DeepHoldLeaseStore::restore() {
  if (!powerController_.writeSleepDisabled(false)) return false;
  state_.owesRestoration.reset();
  logger.info("Restored system sleep state to original: sleep enabled");
  return true;
}

void DeepHoldLeaseStore::retryRestoration() {
  if (!owesRestoration()) return;
  // A tool that failed, or was killed, may have done its work.
  const bool isRestored = !powerController_.readSleepDisabled().value_or(true);
  if (!isRestored && !restore()) return;
  state_.owesRestoration.reset();
  saveState();
}

// A hold without an expiry never lapses.
bool DeepHoldLeaseStore::hasLapsed() const {
  return lapsesAt_ && awakeClock_() >= *lapsesAt_;
}

// When the lease ends, by the wall clock as it goes now.
std::optional<Date> DeepHoldLeaseStore::expiry() const {
  if (!lapsesAt_) return std::nullopt;
  const Date end = clock_() + (*lapsesAt_ - awakeClock_());
  return std::abs(end - *state_.expiresAt) < clockStep ? state_.expiresAt : end;
}

void DeepHoldLeaseStore::followWallClock() {
  const auto end = expiry();
  if (end == state_.expiresAt) return;
  state_.expiresAt = end;
  saveState();
}

bool DeepHoldLeaseStore::owesRestoration() const {
  return state_.owesRestoration.value_or(false);
}

void DeepHoldLeaseStore::ensureInForce() {
  if (!state_.isHolding || hasLapsed()) return;
  if (owesRestoration()) {
    powerController_.ensureSleepDisabled();
  } else {
    lookAtOriginal();
  }
}

// Who disabled sleep by other means may allow it again during the hold. What cannot be read is not changed:
// nobody would know what to restore.
void DeepHoldLeaseStore::lookAtOriginal() {
  const auto disabled = powerController_.readSleepDisabled();
  if (!disabled) return;
  state_.originalSleepDisabled = *disabled;
  if (!*disabled) disableSleep();
}

void DeepHoldLeaseStore::disableSleep() {
  state_.owesRestoration = true;
  if (saveState() || !powerController_.outlivesProcess()) {
    powerController_.writeSleepDisabled(true);
  } else {
    state_.owesRestoration = false;
  }
}

// Also where somebody removed the file: without it a restarted daemon would restore nothing.
void DeepHoldLeaseStore::retrySave() {
  const bool matters = state_.isHolding || owesRestoration();
  const bool isLost = matters && stateFile_ && ::access(stateFile_->c_str(), F_OK) != 0;
  if (!isSaved_ || isLost) saveState();
}

bool DeepHoldLeaseStore::saveState() {
  if (!stateFile_) return true;
  const auto error = replaceFile(*stateFile_, encodeRecord(state_), mayWrite_);
  if (error && saveFailure_.begins(error->description)) {
    logger.error("Deep hold record not saved, going on with the one in memory: %s", error->description);
  } else if (!error && saveFailure_.ends()) {
    logger.info("Deep hold record saved again");
  }
  isSaved_ = !error;
  return isSaved_;
}

}  // namespace vigilo
