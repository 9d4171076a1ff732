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

// Carries out what the coordinator wants held, in order, on one serial queue, so that the main queue never
// waits for a bus or for the helper. Requests to hold that wait for their turn fold into the newest; a
// release is never dropped. Once it is closed nothing is asked for any more, also of what waits. Thread-safe. The queue must outlive it; the controllers live for as long as a
// request is under way.
class HoldApplier {
 public:
  static constexpr double deepLeaseSeconds = 60.0;

  struct Request {
    std::string reason;
    bool preventDisplaySleep = false;
    bool deep = false;  // also the hold that survives a closed lid
  };

  HoldApplier(Queue& queue, std::shared_ptr<IdleWakeAssertionControlling> idle,
              std::shared_ptr<DeepSleepControlling> deep);

  void hold(Request request);
  // Drops both holds. `done` comes on the queue once the helper has answered or failed to.
  void release(std::function<void()> done);
  // The same for good: until it is opened again, requests to hold are passed over.
  void close(std::function<void()> done);
  void open();

 private:
  struct Step {
    bool isHold = false;
    Request request;
    std::function<void()> done;
  };
  struct State {
    Mutex mutex;
    bool isClosed VIGILO_GUARDED_BY(mutex) = false;
    std::deque<Step> waiting VIGILO_GUARDED_BY(mutex);
  };

  void post(Step step);
  static void runNext(State& state, IdleWakeAssertionControlling& idle, DeepSleepControlling& deep);

  Queue& queue_;
  const std::shared_ptr<IdleWakeAssertionControlling> idle_;
  const std::shared_ptr<DeepSleepControlling> deep_;
  const std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace vigilo
