#include "helper/DeepSleepController.h"

#include <algorithm>
#include <chrono>

#include "support/RecordCoder.h"
#include "support/Uuid.h"

namespace vigilo {
namespace {

Duration fromSeconds(double seconds) {
  return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

DeepSleepController::DeepSleepController(Queue& queue, HelperTransport& transport, Paths paths)
    : queue_(queue),
      transport_(transport),
      paths_(std::move(paths)),
      self_(std::make_shared<DeepSleepController*>(this)) {}

DeepSleepController::~DeepSleepController() {
  *self_ = nullptr;
}

bool DeepSleepController::isDeepHoldActive() const {
  const LockGuard guard(mutex_);
  return hasLease_;
}

void DeepSleepController::status(std::function<void(DeepSleepStatus)> done) {
  queue_.async([self = self_, done = std::move(done)]() mutable {
    if (*self == nullptr) return;
    (*self)->enqueue(HelperCommand::status).waitingForStatus.push_back(std::move(done));
    (*self)->runNext();
  });
}

void DeepSleepController::acquire(double ttlSeconds, std::function<void(bool)> done) {
  queue_.async([self = self_, ttlSeconds, done = std::move(done)]() mutable {
    if (*self == nullptr) return;
    Operation& operation = (*self)->enqueue(HelperCommand::acquire);
    operation.ttlSeconds = ttlSeconds;
    operation.waitingForResult.push_back(std::move(done));
    (*self)->runNext();
  });
}

void DeepSleepController::release(std::function<void()> done) {
  queue_.async([self = self_, done = std::move(done)]() mutable {
    if (*self == nullptr) return;
    (*self)->enqueue(HelperCommand::release).waitingForResult.push_back([done = std::move(done)](bool) {
      done();
    });
    (*self)->runNext();
  });
}

// A request of the kind that waits last already takes the new one in; any other order is kept.
DeepSleepController::Operation& DeepSleepController::enqueue(HelperCommand command) {
  if (waiting_.empty() || waiting_.back().command != command) waiting_.push_back({command, 0, {}, {}});
  return waiting_.back();
}

void DeepSleepController::runNext() {
  if (busy_ || waiting_.empty()) return;
  Operation operation = std::move(waiting_.front());
  waiting_.pop_front();
  busy_ = true;
  switch (operation.command) {
    case HelperCommand::acquire:
      return runAcquire(std::move(operation));
    case HelperCommand::release:
      return runRelease(std::move(operation));
    case HelperCommand::renew:
      // One that a release or a failed acquire has overtaken is pointless.
      if (renewalTimer_ == nullptr) return finish();
      // The answer does not matter: the next acquire or the status tells.
      return send({HelperCommand::renew, currentLeaseId_, operation.ttlSeconds},
                  [this](std::optional<HelperResponse>) { finish(); });
    default:
      return runStatus(std::move(operation));
  }
}

void DeepSleepController::runAcquire(Operation operation) {
  const auto answer = [this, waiting = std::move(operation.waitingForResult)](bool result) {
    for (const auto& done : waiting) done(result);
    finish();
  };
  if (memory_ != nullptr) return answer(true);
  if (!currentLeaseId_) setLease(makeUuid());
  const double ttlSeconds = operation.ttlSeconds;
  send({HelperCommand::acquire, currentLeaseId_, ttlSeconds},
       [this, ttlSeconds, answer](const std::optional<HelperResponse>& response) {
         const bool taken = response && response->ok;
         taken ? succeeded(ttlSeconds) : failed();
         answer(taken);
       });
}

void DeepSleepController::succeeded(double ttlSeconds) {
  // Re-acquisitions come every few seconds for as long as agents work: only the first is news.
  if (renewalTimer_ == nullptr)
    log_.info("Successfully acquired deep hold lease %s", *currentLeaseId_);
  else
    log_.debug("Successfully acquired deep hold lease %s", *currentLeaseId_);
  failure_.ends();
  const Duration interval = fromSeconds(std::max(ttlSeconds * 0.25, leastRenewalSeconds));
  renewalTimer_ = queue_.timer(interval, interval, [this, ttlSeconds] {
    enqueue(HelperCommand::renew).ttlSeconds = ttlSeconds;
    runNext();
  });
  memory_ = queue_.timer(fromSeconds(memorySeconds), Duration::zero(), [this] { memory_.reset(); });
}

void DeepSleepController::failed() {
  // Whoever held the lease, it is no longer this path that is sure.
  renewalTimer_.reset();
  if (failure_.begins("refused")) log_.error("Failed to acquire deep hold from helper");
}

void DeepSleepController::runRelease(Operation operation) {
  renewalTimer_.reset();
  memory_.reset();
  failure_.ends();
  const auto answer = [this, waiting = std::move(operation.waitingForResult)](bool result) {
    for (const auto& done : waiting) done(result);
    finish();
  };
  if (!currentLeaseId_) return answer(true);
  const std::string lease = *currentLeaseId_;
  setLease(std::nullopt);
  send({HelperCommand::release, lease, std::nullopt}, [this, lease, answer](std::optional<HelperResponse>) {
    log_.info("Released deep hold lease %s", lease);
    answer(true);
  });
}

void DeepSleepController::runStatus(Operation operation) {
  send(
      {HelperCommand::status, std::nullopt, std::nullopt},
      [this, waiting = std::move(operation.waitingForStatus)](const std::optional<HelperResponse>& response) {
        DeepSleepStatus status;
        if (response && response->status)
          status = *response->status;
        else
          status.isHelperInstalled = transport_.exists(socketPath_);
        for (const auto& done : waiting) done(status);
        finish();
      });
}

void DeepSleepController::finish() {
  busy_ = false;
  runNext();
}

std::string DeepSleepController::choosePath() {
  return !paths_.second || transport_.exists(paths_.first) ? paths_.first : *paths_.second;
}

void DeepSleepController::send(HelperRequest request, Reply reply) {
  const bool pathIsSure = renewalTimer_ != nullptr;
  if (!pathIsSure) socketPath_ = choosePath();
  const bool maySwitch = !pathIsSure && paths_.second && socketPath_ == paths_.first;
  exchange(socketPath_, encodeRecord(request), maySwitch, std::move(reply));
}

void DeepSleepController::exchange(std::string path, std::string request, bool maySwitch, Reply reply) {
  transport_.exchange(path, request,
                      [this, self = self_, request, maySwitch, reply = std::move(reply)](
                          HelperTransport::Outcome outcome, const std::string& bytes) mutable {
                        if (*self == nullptr) return;
                        if (outcome == HelperTransport::Outcome::refused && maySwitch) {
                          socketPath_ = *paths_.second;
                          return exchange(socketPath_, std::move(request), false, std::move(reply));
                        }
                        if (outcome != HelperTransport::Outcome::answered) return reply(std::nullopt);
                        auto response = decodeRecord<HelperResponse>(bytes);
                        if (response)
                          reply(*std::move(response));
                        else
                          reply(std::nullopt);
                      });
}

void DeepSleepController::setLease(std::optional<std::string> lease) {
  currentLeaseId_ = std::move(lease);
  const LockGuard guard(mutex_);
  hasLease_ = currentLeaseId_.has_value();
}

}  // namespace vigilo
