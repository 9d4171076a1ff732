#include "HoldApplier.h"

#include <atomic>

namespace vigilo {

HoldApplier::HoldApplier(Queue& idleQueue, Queue& deepQueue,
                         std::shared_ptr<IdleWakeAssertionControlling> idle,
                         std::shared_ptr<DeepSleepControlling> deep)
    : idle_(std::move(idle)), deep_(std::move(deep)), idleLane_(idleQueue), deepLane_(deepQueue) {}

void HoldApplier::hold(Request request) {
  const bool deep = request.deep;
  idleLane_.post(true, [idle = idle_, request = std::move(request)] {
    idle->acquire(request.reason, request.preventDisplaySleep);
  });
  // The outcome shows in the helper's status; the decision does not depend on it.
  deepLane_.post(true, [controller = deep_, deep] {
    if (deep) controller->acquire(deepLeaseSeconds, [](bool) {});
  });
}

void HoldApplier::release(std::function<void()> done) {
  const auto left = std::make_shared<std::atomic<int>>(2);
  const auto oneDone = [left, done = std::move(done)] {
    if (--*left == 0) done();
  };
  idleLane_.post(false, [idle = idle_, oneDone] {
    idle->release();
    oneDone();
  });
  deepLane_.post(false, [deep = deep_, oneDone] { deep->release(oneDone); });
}

void HoldApplier::close(std::function<void()> done) {
  idleLane_.setClosed(true);
  deepLane_.setClosed(true);
  release(std::move(done));
}

void HoldApplier::open() {
  idleLane_.setClosed(false);
  deepLane_.setClosed(false);
}

void HoldApplier::Lane::setClosed(bool isClosed) {
  const LockGuard guard(state_->mutex);
  state_->isClosed = isClosed;
}

void HoldApplier::Lane::post(bool isHold, Task task) {
  {
    const LockGuard guard(state_->mutex);
    if (isHold && state_->isClosed) return;
    auto& waiting = state_->waiting;
    if (isHold && !waiting.empty() && waiting.back().isHold) {
      waiting.back().task = std::move(task);
      return;
    }
    waiting.push_back({isHold, std::move(task)});
  }
  queue_.async([state = state_] { runNext(*state); });
}

void HoldApplier::Lane::runNext(State& state) {
  Step step;
  {
    const LockGuard guard(state.mutex);
    step = std::move(state.waiting.front());
    state.waiting.pop_front();
    if (step.isHold && state.isClosed) return;
  }
  step.task();
}

}  // namespace vigilo
