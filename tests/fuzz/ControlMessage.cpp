#include "VigiloApp/control/ControlProtocol.h"
#include "tests/fuzz/Fuzz.h"

using namespace vigilo;

VIGILO_FUZZ(text) {
  if (const auto request = decodeRecord<ControlRequest>(text)) (void)encodeRecord(*request);
  if (const auto response = decodeRecord<ControlResponse>(text)) (void)encodeRecord(*response);
}
