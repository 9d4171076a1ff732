#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "platform/PowerAssertions.h"
#include "support/Log.h"
#include "support/Mutex.h"

namespace vigilo {

// The light protection as its users see it.
class IdleWakeAssertionControlling {
 public:
  virtual ~IdleWakeAssertionControlling() = default;
  // Whether the system-sleep assertion is held.
  virtual bool isActive() const = 0;
  // Whether the system-sleep assertion is held now. Without effect while what is asked for is held already;
  // another reason alone changes nothing. Callers may repeat it every second.
  virtual bool acquire(const std::string& reason, bool preventDisplaySleep) = 0;
  virtual void release() = 0;
};

// Keeps the system, and on request the display, from idle sleep while the wake policy holds.
//
// Three states: none; system only; system and display. A change between the latter two takes the new
// assertions before it drops the old ones, because a machine whose idle time has passed may fall asleep in
// any gap. An assertion that the machine's service lost is taken again at the next `acquire`. Where only the
// display assertion fails, the system assertion stands and the display's alone is tried again.
//
// Calls block for as long as the assertions' service needs. Any thread may call; the lock guards everything
// and is held across the service's calls, so that a release never overtakes the acquisition before it. No
// assertion outlives the controller, which may itself be kept by a task that waits on a queue: it keeps the
// service that it calls.
class IdleWakeAssertionController final : public IdleWakeAssertionControlling {
 public:
  explicit IdleWakeAssertionController(std::shared_ptr<PowerAssertions> assertions)
      : assertions_(std::move(assertions)) {}
  ~IdleWakeAssertionController() override { release(); }

  bool isActive() const override;
  bool acquire(const std::string& reason, bool preventDisplaySleep) override;
  void release() override;

 private:
  struct Held {
    std::uint32_t system = 0;   // 0: none
    std::uint32_t display = 0;  // not 0 only while `system` is not
  };

  using Created = Result<std::uint32_t, PowerAssertionError>;
  bool stands(std::uint32_t identifier) const VIGILO_REQUIRES(mutex_);
  // Takes both anew and then drops what was held.
  bool exchange(const std::string& reason, bool preventDisplaySleep) VIGILO_REQUIRES(mutex_);
  void keepDisplay(const Created& display) VIGILO_REQUIRES(mutex_);
  void releaseHeld() VIGILO_REQUIRES(mutex_);

  const std::shared_ptr<PowerAssertions> assertions_;
  const Log log_{"com.vigilo.app", "power"};
  mutable Mutex mutex_;
  Held held_ VIGILO_GUARDED_BY(mutex_);
  std::string name_ VIGILO_GUARDED_BY(mutex_);  // of the acquisition that holds
  bool displayFailed_ VIGILO_GUARDED_BY(mutex_) = false;
  FailureEpisode systemFailure_ VIGILO_GUARDED_BY(mutex_);
  FailureEpisode displayFailure_ VIGILO_GUARDED_BY(mutex_);
};

}  // namespace vigilo
