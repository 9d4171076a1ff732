#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/SystemPowerControlling.h"
#include "platform/linux/Bus.h"
#include "support/Log.h"
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
// The service manager keeps a copy of the descriptor, so that a helper that is restarted leaves no gap. The
// lease store's lock serialises the calls: not thread-safe by itself.
class LogindSleepInhibitor final : public SystemPowerControlling {
 public:
  explicit LogindSleepInhibitor(ServiceManager& serviceManager,
                                std::vector<std::string> unitFolders = administratorUnitFolders)
      : serviceManager_(serviceManager), unitFolders_(std::move(unitFolders)) {}

  std::optional<bool> readSleepDisabled() override;
  // Disabling while a hold is in force takes a new one before the old one goes: a gap with the lid closed
  // suspends the machine within milliseconds.
  bool writeSleepDisabled(bool disabled) override;
  // Takes the hold again where logind does not list it.
  void ensureSleepDisabled() override;
  std::string description() const override;

 private:
  bool isHoldInForce() const;
  bool take();

  ServiceManager& serviceManager_;
  const std::vector<std::string> unitFolders_;
  UniqueFd hold_;
  FailureEpisode failure_;
};

}  // namespace vigilo
