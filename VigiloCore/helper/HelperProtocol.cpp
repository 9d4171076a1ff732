#include "helper/HelperProtocol.h"

#include "support/RecordCoding.h"

namespace vigilo {

VIGILO_RECORD_CODING(HelperRequest);
VIGILO_RECORD_CODING(DeepSleepStatus);
VIGILO_RECORD_CODING(HelperResponse);

}  // namespace vigilo
