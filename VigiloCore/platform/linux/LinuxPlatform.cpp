#include "platform/Platform.h"

namespace vigilo {

Platform Platform::ofThisMachine() {
  return {makePowerAssertions(),  makePowerSourceProvider(), makeThermalStateProvider(),
          makeLidStateProvider(), makeProcessTable(),        makeRunningApplications()};
}

}  // namespace vigilo
