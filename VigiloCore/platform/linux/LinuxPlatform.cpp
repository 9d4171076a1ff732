#include "platform/Platform.h"

namespace vigilo {

Platform Platform::ofThisMachine() {
  return {.powerAssertions = makePowerAssertions(),
          .powerSource = makePowerSourceProvider(),
          .thermalState = makeThermalStateProvider(),
          .lidState = makeLidStateProvider(),
          .processTable = makeProcessTable(),
          .runningApplications = makeRunningApplications(),
          .userNotifications = makeUserNotifications(),
          .systemSounds = makeSystemSounds()};
}

}  // namespace vigilo
