#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace vigilo {

using Task = std::function<void()>;
using Duration = std::chrono::nanoseconds;

// A task that is due later, or a descriptor that is watched. Destroying it cancels: on the queue itself no
// further call follows; from another thread a call that is running may still finish.
class Cancellable {
 public:
  virtual ~Cancellable() = default;
};
using CancelToken = std::unique_ptr<Cancellable>;

// A serial queue: tasks run one at a time, in the order in which they were added. Timers go by monotonic time
// and skip what a suspend made them miss. Two implementations: AsioQueue (a thread each, or the main thread)
// and, in the tests, virtual time. Every member may be called from any thread.
class Queue {
 public:
  explicit Queue(std::string label) : label_(std::move(label)) {}
  virtual ~Queue() = default;
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  const std::string& label() const { return label_; }

  virtual void async(Task task) = 0;
  // Runs the task once, `delay` from now; it cannot be cancelled.
  virtual void asyncAfter(Duration delay, Task task) = 0;
  // Runs the task `first` from now and then every `interval`, or only once where `interval` is zero.
  [[nodiscard]] virtual CancelToken timer(Duration first, Duration interval, Task task) = 0;
  // Runs the task each time the descriptor is readable (level-triggered). The descriptor must stay open until
  // the token is destroyed; the queue never closes it.
  [[nodiscard]] virtual CancelToken readSource(int fd, Task task) = 0;
  // Whether the caller runs on this queue.
  virtual bool isCurrent() const = 0;
  // Runs the task on the queue and waits for it. Calling it on the queue itself is a programming error: it
  // aborts.
  virtual void sync(const Task& task) = 0;

 private:
  const std::string label_;
};

}  // namespace vigilo
