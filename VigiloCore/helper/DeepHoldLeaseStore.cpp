#include "helper/DeepHoldLeaseStore.h"

#include <unistd.h>

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

Date expiryAfter(Date now, double ttlSeconds) {
  if (!fitsWholeSeconds(ttlSeconds)) fatal("a lease's time to live is not a number of seconds");
  return now + ttlSeconds;
}

}  // namespace

DeepHoldLeaseStore::DeepHoldLeaseStore(SystemPowerControlling& powerController,
                                       std::optional<std::string> stateFile, WriteGate mayWrite, Clock clock)
    : powerController_(powerController),
      stateFile_(std::move(stateFile)),
      mayWrite_(std::move(mayWrite)),
      clock_(std::move(clock)) {
  const auto loaded = loadRecord(stateFile_);
  const auto sleepDisabledNow = powerController_.readSleepDisabled();
  const LockGuard guard(lock_);
  if (loaded) {
    state_ = *loaded;
  } else {
    state_.originalSleepDisabled = sleepDisabledNow.value_or(false);
  }
}

DeepSleepStatus DeepHoldLeaseStore::status() {
  const LockGuard guard(lock_);
  DeepSleepStatus status;
  status.currentSystemSleepDisabled = powerController_.readSleepDisabled().value_or(false);
  status.isHelperInstalled = true;
  status.isDeepHoldActive = state_.isHolding;
  status.activeLeaseId = state_.activeLeaseId;
  status.leaseExpiresAt = state_.expiresAt;
  status.originalSleepDisabledState = state_.originalSleepDisabled;
  return status;
}

bool DeepHoldLeaseStore::isHolding() const {
  const LockGuard guard(lock_);
  return state_.isHolding;
}

bool DeepHoldLeaseStore::acquire(const std::string& leaseId, double ttlSeconds) {
  const LockGuard guard(lock_);
  const Date expiry = expiryAfter(clock_(), ttlSeconds);
  if (state_.isHolding) {
    takeOver(leaseId, expiry);
  } else {
    begin(leaseId, ttlSeconds, expiry);
  }
  saveState();
  return true;
}

void DeepHoldLeaseStore::begin(const std::string& leaseId, double ttlSeconds, Date expiry) {
  state_.isHolding = true;
  state_.activeLeaseId = leaseId;
  state_.expiresAt = expiry;
  if (owesRestoration()) {
    // What is in the system may be our own: the original is the one from before.
    powerController_.writeSleepDisabled(true);
  } else {
    state_.owesRestoration = false;
    lookAtOriginal();
  }
  logger.info("Acquired deep hold lease %s (TTL: %lds, original: %{bool}d)", leaseId,
              static_cast<std::int64_t>(ttlSeconds), state_.originalSleepDisabled);
}

void DeepHoldLeaseStore::takeOver(const std::string& leaseId, Date expiry) {
  state_.activeLeaseId = leaseId;
  state_.expiresAt = expiry;
  logger.info("Renewed existing deep hold with lease %s", leaseId);
  ensureInForce();
}

bool DeepHoldLeaseStore::renew(const std::string& leaseId, double ttlSeconds) {
  const LockGuard guard(lock_);
  if (!state_.isHolding) return false;
  const Date expiry = expiryAfter(clock_(), ttlSeconds);
  state_.activeLeaseId = leaseId;
  state_.expiresAt = expiry;
  saveState();
  logger.debug("Renewed lease %s until %s", leaseId, expiry.description());
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
  const Date now = clock_();
  if (!hasLapsed(now)) {
    ensureInForce();
    return false;
  }
  logger.error("Lease expired at %s (current time: %s). Watchdog releasing deep hold!",
               state_.expiresAt->description(), now.description());
  _internalRelease();
  saveState();
  return true;
}

void DeepHoldLeaseStore::retakeInheritedHold() {
  const LockGuard guard(lock_);
  ensureInForce();
}

void DeepHoldLeaseStore::_internalRelease() {
  if (!state_.isHolding) return;
  state_.isHolding = false;
  state_.activeLeaseId.reset();
  state_.expiresAt.reset();
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
bool DeepHoldLeaseStore::hasLapsed(Date now) const {
  return state_.expiresAt && now >= *state_.expiresAt;
}

bool DeepHoldLeaseStore::owesRestoration() const {
  return state_.owesRestoration.value_or(false);
}

void DeepHoldLeaseStore::ensureInForce() {
  if (!state_.isHolding || hasLapsed(clock_())) return;
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
