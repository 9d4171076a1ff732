#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/SystemPowerControlling.h"
#include "platform/linux/Bus.h"
#include "support/AsioQueue.h"
#include "support/Log.h"
#include "support/Mutex.h"
#include "support/UniqueFd.h"

namespace vigilo {

// Where an administrator's changes to system units lie.
inline const std::vector<std::string> administratorUnitFolders = {"/etc/systemd/system",
                                                                  "/run/systemd/system"};

// Whether suspend.target or sleep.target is masked, that is a link to /dev/null, in one of the folders.
bool isSleepMasked(const std::vector<std::string>& unitFolders);

// What our hold blocks: the lid switch, which logind would act upon whatever else is held, and sleep itself,
// for desktops that handle the lid themselves and then ask logind to suspend.
inline constexpr const char* heldAgainst = "sleep:handle-lid-switch";

// Whether the list that logind gave holds the inhibitor of this user and process.
bool holdsSleepInhibitor(const std::vector<bus::Inhibitor>& inhibitors, std::uint32_t uid, std::uint32_t pid);

// Disables sleep by a block inhibitor of logind. The hold is the descriptor: it ends with this process,
// survives a restart of logind, and is confirmed in logind's list before it is believed. Other programs'
// inhibitors never count: they are transient, and would be taken for a setting of the user's.
//
// logind is spoken to on a queue of this object's own, so that one that hangs, or its bus, holds up nobody:
// callers wait for half a second at most, and not at all until it answers in time again. What comes late
// counts as soon as it is there, if it is still wanted. Reading asks nobody: it tells what was last
// confirmed.
//
// The service manager keeps a copy of the descriptor, so that a helper that is restarted leaves no gap.
// Thread-safe. The service manager must outlive it.
class LogindSleepInhibitor final : public SystemPowerControlling {
 public:
  explicit LogindSleepInhibitor(ServiceManager& serviceManager,
                                std::vector<std::string> unitFolders = administratorUnitFolders)
      : serviceManager_(serviceManager), unitFolders_(std::move(unitFolders)) {}

  std::optional<bool> readSleepDisabled() override;
  // Disabling while a hold is in force takes a new one before the old one goes: a gap with the lid closed
  // suspends the machine within milliseconds. Enabling waits for nothing.
  bool writeSleepDisabled(bool disabled) override;
  // Takes the hold again where logind does not list it.
  void ensureSleepDisabled() override;
  std::string description() const override;

 private:
  bool isInForce() const VIGILO_EXCLUDES(lock_);
  void bringAbout() VIGILO_EXCLUDES(lock_);
  // On queue_:
  void work() VIGILO_EXCLUDES(lock_);
  bool isWorkLeft() VIGILO_EXCLUDES(lock_);
  void confirmOrTake() VIGILO_EXCLUDES(lock_);
  bool confirm() VIGILO_EXCLUDES(lock_);
  bool take() VIGILO_EXCLUDES(lock_);

  ServiceManager& serviceManager_;
  const std::vector<std::string> unitFolders_;
  mutable Mutex lock_;
  bool isWanted_ VIGILO_GUARDED_BY(lock_) = false;
  bool isConfirmed_ VIGILO_GUARDED_BY(lock_) = false;
  bool isWorking_ VIGILO_GUARDED_BY(lock_) = false;
  bool isAskedAgain_ VIGILO_GUARDED_BY(lock_) = false;  // since the work began
  UniqueFd hold_ VIGILO_GUARDED_BY(lock_);
  FailureEpisode failure_ VIGILO_GUARDED_BY(lock_);
  std::atomic<bool> answersInTime_ = true;
  const std::unique_ptr<AsioQueue> queue_ = AsioQueue::withThread("com.vigilo.helper.logind");
};

}  // namespace vigilo
