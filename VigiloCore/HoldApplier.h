#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "helper/DeepSleepController.h"
#include "policy/IdleWakeAssertionController.h"
#include "support/Mutex.h"
#include "support/Queue.h"

namespace vigilo {

// Carries out what the coordinator wants held, so that the main queue never waits for a bus or for the
// helper: idle assertions on one serial queue and requests for the deep hold on another, each in order.
// Neither waits for the other, since a bus that hangs must not cost a lease. Requests to hold that wait for
// their turn fold into the newest; a release is never dropped. Once it is closed nothing is asked for any
// more, also of what waits. Thread-safe. The queues must outlive it; the controllers live for as long as a
// request is under way.
class HoldApplier {
 public:
  static constexpr double deepLeaseSeconds = 60.0;

  struct Request {
    std::string reason;
    bool preventDisplaySleep = false;
    bool deep = false;  // also the hold that survives a closed lid
  };

  HoldApplier(Queue& idleQueue, Queue& deepQueue, std::shared_ptr<IdleWakeAssertionControlling> idle,
              std::shared_ptr<DeepSleepControlling> deep);

  void hold(Request request);
  // Drops both holds. `done` comes on either queue, once the assertions are dropped and the helper has
  // answered or failed to.
  void release(std::function<void()> done);
  // The same for good: until it is opened again, requests to hold are passed over.
  void close(std::function<void()> done);
  void open();

 private:
  // One queue's requests.
  class Lane {
   public:
    explicit Lane(Queue& queue) : queue_(queue) {}
    void post(bool isHold, Task task);
    void setClosed(bool isClosed);

   private:
    struct Step {
      bool isHold = false;
      Task task;
    };
    struct State {
      Mutex mutex;
      bool isClosed VIGILO_GUARDED_BY(mutex) = false;
      std::deque<Step> waiting VIGILO_GUARDED_BY(mutex);
    };

    static void runNext(State& state);

    Queue& queue_;
    const std::shared_ptr<State> state_ = std::make_shared<State>();
  };

  const std::shared_ptr<IdleWakeAssertionControlling> idle_;
  const std::shared_ptr<DeepSleepControlling> deep_;
  Lane idleLane_;
  Lane deepLane_;
};

}  // namespace vigilo
