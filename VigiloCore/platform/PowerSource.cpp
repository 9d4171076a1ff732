#include "platform/PowerSource.h"

#include "support/RecordCoding.h"

namespace vigilo {

PowerSourceSnapshot PowerSourceSnapshot::desktopDefault() {
  PowerSourceSnapshot snapshot;
  snapshot.isOnAC = true;
  return snapshot;
}

VIGILO_RECORD_CODING(PowerSourceSnapshot);

}  // namespace vigilo
