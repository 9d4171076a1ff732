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
  return sharedLeaseId_.has_value();
}

std::optional<std::string> DeepSleepController::leaseId() const {
  const LockGuard guard(mutex_);
  return sharedLeaseId_;
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
                  [this](const Answer&) { finish(); });
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
  ttlSeconds_ = operation.ttlSeconds;
  send({HelperCommand::acquire, currentLeaseId_, ttlSeconds_}, [this, answer](const Answer& reply) {
    // Whoever was reached may hold the lease now, also where no answer came.
    if (reply.outcome != HelperTransport::Outcome::refused) mayBeHeldBy(reply.path);
    const bool taken = reply.response && reply.response->ok;
    taken ? succeeded() : failed();
    answer(taken);
  });
}

void DeepSleepController::mayBeHeldBy(const std::string& path) {
  if (holder_ && *holder_ != path) owe(*std::move(holder_), *currentLeaseId_);
  holder_ = path;
  std::erase_if(owed_, [this](const OwedRelease& owed) {
    return owed.path == *holder_ && owed.leaseId == *currentLeaseId_;
  });
}

void DeepSleepController::succeeded() {
  // The helper has one lease: this one took the place of what was to be given back there.
  std::erase_if(owed_, [this](const OwedRelease& owed) { return owed.path == *holder_; });
  // Re-acquisitions come every few seconds for as long as agents work: only the first is news.
  if (renewalTimer_ == nullptr)
    log_.info("Successfully acquired deep hold lease %s", *currentLeaseId_);
  else
    log_.debug("Successfully acquired deep hold lease %s", *currentLeaseId_);
  failure_.ends();
  const Duration interval = fromSeconds(std::max(ttlSeconds_ * 0.25, leastRenewalSeconds));
  renewalTimer_ = queue_.timer(interval, interval, [this] {
    enqueue(HelperCommand::renew).ttlSeconds = ttlSeconds_;
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
  const auto holder = std::exchange(holder_, std::nullopt);
  setLease(std::nullopt);
  exchange(holder.value_or(choosePath()), encodeRecord(HelperRequest{HelperCommand::release, lease, {}}),
           !holder, [this, lease, holder, answer](const Answer& reply) {
             if (holder && reply.outcome != HelperTransport::Outcome::answered)
               owe(*holder, lease);
             else
               log_.info("Released deep hold lease %s", lease);
             answer(true);
           });
}

void DeepSleepController::owe(std::string path, std::string lease) {
  log_.error("A helper does not answer the release: what it may hold ends with its lease at the latest");
  owed_.push_back({std::move(path), std::move(lease), static_cast<int>(ttlSeconds_ / retrySeconds) + 1});
  if (retryTimer_ == nullptr)
    retryTimer_ = queue_.timer(fromSeconds(retrySeconds), fromSeconds(retrySeconds), [this] { retryOwed(); });
}

void DeepSleepController::retryOwed() {
  if (owed_.empty()) return retryTimer_.reset();
  if (busy_) return;
  busy_ = true;
  OwedRelease owed = std::move(owed_.front());
  owed_.pop_front();
  const std::string path = owed.path;
  exchange(path, encodeRecord(HelperRequest{HelperCommand::release, owed.leaseId, {}}), false,
           [this, owed = std::move(owed)](const Answer& reply) mutable {
             if (reply.outcome == HelperTransport::Outcome::answered)
               log_.info("Released deep hold lease %s", owed.leaseId);
             else if (--owed.triesLeft > 0)
               owed_.push_back(std::move(owed));
             finish();
           });
}

void DeepSleepController::runStatus(Operation operation) {
  send({HelperCommand::status, std::nullopt, std::nullopt},
       [this, waiting = std::move(operation.waitingForStatus)](const Answer& reply) {
         DeepSleepStatus status;
         if (reply.response && reply.response->status)
           status = *reply.response->status;
         else
           status.isHelperInstalled = transport_.exists(reply.path);
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

void DeepSleepController::send(const HelperRequest& request, Reply reply) {
  const bool pathIsSure = renewalTimer_ != nullptr;
  exchange(pathIsSure ? *holder_ : choosePath(), encodeRecord(request), !pathIsSure, std::move(reply));
}

void DeepSleepController::exchange(std::string path, std::string request, bool maySwitch, Reply reply) {
  transport_.exchange(path, request,
                      [this, self = self_, path, request, maySwitch, reply = std::move(reply)](
                          HelperTransport::Outcome outcome, const std::string& bytes) mutable {
                        if (*self == nullptr) return;
                        if (outcome == HelperTransport::Outcome::refused && maySwitch && paths_.second &&
                            path == paths_.first)
                          return exchange(*paths_.second, std::move(request), false, std::move(reply));
                        Answer answer{std::move(path), outcome, std::nullopt};
                        if (outcome == HelperTransport::Outcome::answered) {
                          if (auto response = decodeRecord<HelperResponse>(bytes))
                            answer.response = *std::move(response);
                        }
                        reply(answer);
                      });
}

void DeepSleepController::setLease(std::optional<std::string> lease) {
  currentLeaseId_ = std::move(lease);
  const LockGuard guard(mutex_);
  sharedLeaseId_ = currentLeaseId_;
}

}  // namespace vigilo
