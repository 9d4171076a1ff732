#include "helper/DeepHoldLeaseStore.h"

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
  const bool sleepDisabledNow = powerController_.readSleepDisabled();
  const LockGuard guard(lock_);
  if (loaded) {
    state_ = *loaded;
  } else {
    state_.originalSleepDisabled = sleepDisabledNow;
  }
}

DeepSleepStatus DeepHoldLeaseStore::status() {
  const LockGuard guard(lock_);
  DeepSleepStatus status;
  status.currentSystemSleepDisabled = powerController_.readSleepDisabled();
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
  const bool original = powerController_.readSleepDisabled();
  state_ = {true, leaseId, expiry, original};
  if (!original) powerController_.writeSleepDisabled(true);
  logger.info("Acquired deep hold lease %s (TTL: %lds, original: %{bool}d)", leaseId,
              static_cast<std::int64_t>(ttlSeconds), original);
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
  if (!state_.isHolding) return false;
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
  if (state_.originalSleepDisabled) {
    logger.info("Prior state was already sleep disabled, leaving untouched");
  } else {
    powerController_.writeSleepDisabled(false);
    logger.info("Restored system sleep state to original: sleep enabled");
  }
  state_.isHolding = false;
  state_.activeLeaseId.reset();
  state_.expiresAt.reset();
}

// A hold without an expiry never lapses.
bool DeepHoldLeaseStore::hasLapsed(Date now) const {
  return state_.expiresAt && now >= *state_.expiresAt;
}

void DeepHoldLeaseStore::ensureInForce() {
  if (state_.isHolding && !state_.originalSleepDisabled && !hasLapsed(clock_())) {
    powerController_.ensureSleepDisabled();
  }
}

void DeepHoldLeaseStore::saveState() {
  if (!stateFile_) return;
  const auto error = replaceFile(*stateFile_, encodeRecord(state_), mayWrite_);
  if (error && saveFailure_.begins(error->description)) {
    logger.error("Deep hold record not saved, going on with the one in memory: %s", error->description);
  } else if (!error && saveFailure_.ends()) {
    logger.info("Deep hold record saved again");
  }
}

}  // namespace vigilo
