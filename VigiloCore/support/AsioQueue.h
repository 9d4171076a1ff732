#pragma once

#include <functional>
#include <initializer_list>
#include <memory>

#include "support/Queue.h"

namespace vigilo {

// A queue with an event loop of its own. A threaded queue runs on a thread named after its label, which its
// destructor stops and joins. A main queue runs in `run` on the caller's thread. Every queue may block
// without stopping another. Thread-safe as Queue says.
class AsioQueue final : public Queue {
 public:
  static std::unique_ptr<AsioQueue> withThread(std::string label);
  static std::unique_ptr<AsioQueue> mainQueue();
  ~AsioQueue() override;

  void async(Task task) override;
  void asyncAfter(Duration delay, Task task) override;
  CancelToken timer(Duration first, Duration interval, Task task) override;
  CancelToken readSource(int fd, Task task) override;
  bool isCurrent() const override;
  // After `stopAndWait` the task runs in place, so that whoever closes down late does not wait for ever.
  void sync(const Task& task) override;

  // Main queue only: serves the queue on the calling thread until `stop`.
  void run();
  // Ends `run`, or the thread, after the task that is running.
  void stop();
  // The same, and waits for the thread's end. What still waits is dropped before this returns, with all that
  // it keeps alive; nothing runs on this queue afterwards.
  void stopAndWait();
  // The same, but waits so long at most. False when a task still runs then: this object and all that the task
  // uses must stay until the process ends.
  bool stopAndWait(Duration patience);
  // Calls `handler` on this queue for each delivery of one of the signals, from now on.
  void onSignal(std::initializer_list<int> signals, std::function<void(int)> handler);

 private:
  struct Loop;
  explicit AsioQueue(std::string label);
  std::shared_ptr<Loop> loop_;
};

}  // namespace vigilo
