#include "HoldApplier.h"

#include <optional>

namespace vigilo {

HoldApplier::HoldApplier(Queue& queue, std::shared_ptr<IdleWakeAssertionControlling> idle,
                         std::shared_ptr<DeepSleepControlling> deep)
    : queue_(queue), idle_(std::move(idle)), deep_(std::move(deep)) {}

void HoldApplier::hold(Request request) {
  post({true, std::move(request), nullptr});
}

void HoldApplier::release(std::function<void()> done) {
  post({false, {}, std::move(done)});
}

void HoldApplier::close(std::function<void()> done) {
  {
    const LockGuard guard(state_->mutex);
    state_->isClosed = true;
  }
  release(std::move(done));
}

void HoldApplier::open() {
  const LockGuard guard(state_->mutex);
  state_->isClosed = false;
}

void HoldApplier::post(Step step) {
  {
    const LockGuard guard(state_->mutex);
    if (step.isHold && state_->isClosed) return;
    auto& waiting = state_->waiting;
    if (step.isHold && !waiting.empty() && waiting.back().isHold) {
      waiting.back() = std::move(step);
      return;
    }
    waiting.push_back(std::move(step));
  }
  queue_.async([state = state_, idle = idle_, deep = deep_] { runNext(*state, *idle, *deep); });
}

void HoldApplier::runNext(State& state, IdleWakeAssertionControlling& idle, DeepSleepControlling& deep) {
  Step step;
  {
    const LockGuard guard(state.mutex);
    step = std::move(state.waiting.front());
    state.waiting.pop_front();
    if (step.isHold && state.isClosed) return;
  }
  if (step.isHold) {
    idle.acquire(step.request.reason, step.request.preventDisplaySleep);
    // The outcome shows in the helper's status; the decision does not depend on it.
    if (step.request.deep) deep.acquire(deepLeaseSeconds, [](bool) {});
  } else {
    idle.release();
    deep.release(std::move(step.done));
  }
}

}  // namespace vigilo
