#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "helper/HelperProtocol.h"
#include "helper/HelperTransport.h"
#include "support/Log.h"
#include "support/Mutex.h"
#include "support/Queue.h"

namespace vigilo {

// The application's way to a deep hold: asks for it, gives it back, reports on it. Results come by callback.
class DeepSleepControlling {
 public:
  virtual ~DeepSleepControlling() = default;
  virtual bool isDeepHoldActive() const = 0;
  virtual void status(std::function<void(DeepSleepStatus)> done) = 0;
  virtual void acquire(double ttlSeconds, std::function<void(bool)> done) = 0;
  virtual void release(std::function<void()> done) = 0;
};

// Holds system sleep off through the helper daemon, under a lease that it renews.
//
// Requests run one at a time in the order in which they were made. While one is on its way, further
// acquisitions fold into one; within `memorySeconds` of a success they are answered from memory; a release
// always runs after what was asked before it and is never dropped. A success starts renewals every quarter of
// the lease, five seconds at least. A lost helper shows in `status` only: its watchdog ends the hold when the
// lease lapses.
//
// A lease belongs to the helper that granted it, or that was asked and did not answer. It is renewed there
// for as long as that helper answers, and released there. A release without an answer is owed: it is repeated
// every `retrySeconds` until the helper, or the one that was started in its place, answers, until that helper
// grants another lease, or until the lease must have lapsed.
//
// Every member may be called from any thread. All state but what `leaseId` gives belongs to the
// queue; callbacks come there, and the object must be destroyed there or after the queue has ended.
class DeepSleepController final : public DeepSleepControlling {
 public:
  static constexpr double memorySeconds = 5.0;
  static constexpr double leastRenewalSeconds = 5.0;
  static constexpr double retrySeconds = 5.0;

  // The helper's possible sockets. While no lease is held the path is chosen anew for each request: the first
  // where a file stands there, else the second; where nobody listens at the first, the second.
  struct Paths {
    std::string first;
    std::optional<std::string> second;
  };

  // The queue and the transport must outlive the controller.
  DeepSleepController(Queue& queue, HelperTransport& transport, Paths paths);
  ~DeepSleepController() override;

  // Whether this process holds a lease, or last tried to take one: true after a failed acquire until
  // `release`.
  bool isDeepHoldActive() const override;
  // The identifier of that lease.
  std::optional<std::string> leaseId() const;
  // The helper's own status; where it does not answer, one that says only whether its socket file is there.
  void status(std::function<void(DeepSleepStatus)> done) override;
  void acquire(double ttlSeconds, std::function<void(bool)> done) override;
  // Stops renewing at once and gives the lease back; sends nothing where no acquire came before.
  void release(std::function<void()> done) override;

 private:
  struct Operation {
    HelperCommand command{};
    double ttlSeconds = 0;
    std::vector<std::function<void(bool)>> waitingForResult;             // acquire, release
    std::vector<std::function<void(DeepSleepStatus)>> waitingForStatus;  // status
  };
  struct Answer {
    std::string path;  // who was asked
    HelperTransport::Outcome outcome{};
    std::optional<HelperResponse> response;
  };
  using Reply = std::function<void(const Answer&)>;
  struct OwedRelease {
    std::string path;
    std::string leaseId;
    int triesLeft = 0;
  };

  Operation& enqueue(HelperCommand command);
  void runNext();
  void runAcquire(Operation operation);
  void runRelease(Operation operation);
  void runStatus(Operation operation);
  void send(const HelperRequest& request, Reply reply);
  void exchange(std::string path, std::string request, bool maySwitch, Reply reply);
  void finish();
  void succeeded();
  void failed();
  void mayBeHeldBy(const std::string& path);
  void owe(std::string path, std::string lease);
  void retryOwed();
  std::string choosePath();
  void setLease(std::optional<std::string> lease);

  Queue& queue_;
  HelperTransport& transport_;
  const Paths paths_;
  const Log log_{"com.vigilo.app", "deepsleep"};
  const std::shared_ptr<DeepSleepController*> self_;  // null once destroyed: queued tasks look here first

  mutable Mutex mutex_;
  std::optional<std::string> sharedLeaseId_ VIGILO_GUARDED_BY(mutex_);  // a copy of the queue's

  // On the queue:
  std::deque<Operation> waiting_;
  bool busy_ = false;
  std::optional<std::string> currentLeaseId_;
  std::optional<std::string> holder_;  // the path of the helper that holds the lease, or may hold it
  double ttlSeconds_ = 0;              // of the last acquire
  std::deque<OwedRelease> owed_;
  CancelToken retryTimer_;    // present while a release is owed
  CancelToken renewalTimer_;  // present exactly while the last acquire succeeded
  CancelToken memory_;        // present while acquisitions are answered from memory
  FailureEpisode failure_;
};

}  // namespace vigilo
