#pragma once

#include <memory>

#include "support/UniqueFd.h"

namespace vigilo {

// The service manager that started this process: is told how the process fares, and keeps one hold for it
// while it is being restarted. Where no service manager listens, nothing happens and nothing is kept.
//
// Each call is one small message that is not answered, and a failure is not reported: nothing depends on it.
// Thread-safe, apart from `takeKeptHold`.
class ServiceManager {
 public:
  virtual ~ServiceManager() = default;

  // The service accepts requests.
  virtual void tellReady() = 0;
  // The service makes progress. A service that stays silent for longer than its unit allows is ended and
  // started again.
  virtual void tellAlive() = 0;
  // The service ends now, and means to.
  virtual void tellStopping() = 0;

  // Keeps a copy of the descriptor, in place of the one kept before, until this service is stopped or fails
  // for good. The copy outlives this process: what the descriptor stands for ends only when both are closed.
  virtual void keepHold(int fd) = 0;
  virtual void forgetHold() = 0;
  // What an earlier process of this service had kept, closed on exec; empty where there is nothing. The
  // manager forgets it. For the start of the process, before it has threads.
  virtual UniqueFd takeKeptHold() = 0;
};

std::unique_ptr<ServiceManager> makeServiceManager();

}  // namespace vigilo
