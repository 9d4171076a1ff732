#include "helper/DeepHoldLeaseStore.h"
#include "helper/HelperProtocol.h"
#include "support/RecordCoder.h"
#include "tests/fuzz/Fuzz.h"

using namespace vigilo;

VIGILO_FUZZ(text) {
  if (const auto request = decodeRecord<HelperRequest>(text)) (void)encodeRecord(*request);
  if (const auto response = decodeRecord<HelperResponse>(text)) (void)encodeRecord(*response);
  if (const auto record = decodeRecord<DeepHoldStateRecord>(text)) (void)encodeRecord(*record);
}
