#include "tests/support/VirtualTime.h"

#include <cmath>
#include <set>

#include "support/Log.h"

namespace vigilo::test {

struct VirtualTime::State {
  using Due = std::pair<std::int64_t, std::uint64_t>;  // nanoseconds since the start, order of adding

  std::int64_t elapsed = 0;
  std::uint64_t added = 0;
  Date wallClockAtStart;
  std::map<Due, std::pair<const Queue*, Task>> tasks;
  const Queue* running = nullptr;

  Due add(const Queue* queue, Duration delay, Task task) {
    const Due due{elapsed + std::max<std::int64_t>(delay.count(), 0), added++};
    tasks.emplace(due, std::pair{queue, std::move(task)});
    return due;
  }

  bool runNext(std::int64_t limit) {
    if (tasks.empty() || tasks.begin()->first.first > limit) return false;
    auto node = tasks.extract(tasks.begin());
    elapsed = std::max(elapsed, node.key().first);
    runAs(node.mapped().first, node.mapped().second);
    return true;
  }

  // What a queue has waiting now, without moving the clock.
  void drain(const Queue* queue) {
    for (auto at = tasks.begin(); at != tasks.end() && at->first.first <= elapsed;) {
      if (at->second.first != queue) {
        ++at;
        continue;
      }
      const auto node = tasks.extract(at);
      runAs(queue, node.mapped().second);
      at = tasks.begin();  // the task may have added and removed others
    }
  }

  void runAs(const Queue* queue, const Task& task) {
    const Queue* const before = std::exchange(running, queue);
    task();
    running = before;
  }
};

namespace {

class VirtualQueue final : public Queue {
 public:
  VirtualQueue(std::shared_ptr<VirtualTime::State> state, std::string label, double lag)
      : Queue(std::move(label)), state_(std::move(state)), lag_(std::llround(lag * 1e9)) {}

  ~VirtualQueue() override {
    std::erase_if(state_->tasks, [this](const auto& task) { return task.second.first == this; });
  }

  void async(Task task) override { state_->add(this, lag_, std::move(task)); }
  void asyncAfter(Duration delay, Task task) override { state_->add(this, delay + lag_, std::move(task)); }

  CancelToken timer(Duration first, Duration interval, Task task) override {
    struct Token final : Cancellable {
      std::shared_ptr<bool> live = std::make_shared<bool>(true);
      ~Token() override { *live = false; }
    };
    auto token = std::make_unique<Token>();
    arm(first + lag_, interval, std::move(task), token->live);
    return token;
  }

  CancelToken readSource(int, Task) override { fatal("descriptors are not watched in virtual time"); }
  bool isCurrent() const override { return state_->running == this; }

  // There is one thread: the task runs at once, after what this queue has waiting now.
  void sync(const Task& task) override {
    if (isCurrent()) fatal("sync onto a queue's own thread: " + label());
    state_->drain(this);
    state_->runAs(this, task);
  }

 private:
  void arm(Duration delay, Duration interval, Task task, std::shared_ptr<bool> live) {
    state_->add(this, delay, [this, interval, task = std::move(task), live] {
      if (!*live) return;
      if (interval != Duration::zero()) arm(interval, interval, task, live);
      task();
    });
  }

  const std::shared_ptr<VirtualTime::State> state_;
  const Duration lag_;
};

}  // namespace

VirtualTime::VirtualTime(Date start) : state_(std::make_shared<State>()) {
  state_->wallClockAtStart = start;
}

VirtualTime::~VirtualTime() = default;

std::unique_ptr<Queue> VirtualTime::queue(std::string label, double lag) {
  return std::make_unique<VirtualQueue>(state_, std::move(label), lag);
}

Date VirtualTime::now() const {
  return state_->wallClockAtStart + static_cast<double>(state_->elapsed) / 1e9;
}

Clock VirtualTime::clock() const {
  return [state = state_] { return state->wallClockAtStart + static_cast<double>(state->elapsed) / 1e9; };
}

AwakeClock VirtualTime::awakeClock() const {
  return [state = state_] { return static_cast<double>(state->elapsed) / 1e9; };
}

void VirtualTime::runUntilIdle() {
  while (state_->runNext(state_->elapsed)) {
  }
}

void VirtualTime::advance(double seconds) {
  const std::int64_t target = state_->elapsed + std::llround(seconds * 1e9);
  while (state_->runNext(target)) {
  }
  state_->elapsed = target;
}

void VirtualTime::setWallClock(Date date) {
  state_->wallClockAtStart = date - static_cast<double>(state_->elapsed) / 1e9;
}

}  // namespace vigilo::test
