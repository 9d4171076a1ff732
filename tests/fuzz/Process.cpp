#include "agents/ProcessClassification.h"
#include "platform/ProcessTable.h"
#include "platform/linux/PrintableText.h"
#include "platform/linux/ProcFolder.h"
#include "support/Utf8.h"
#include "tests/fuzz/Fuzz.h"

using namespace vigilo;

VIGILO_FUZZ(text) {
  (void)ProcStat::parse(text);
  (void)parseProcessLine(text);
  fuzz::require(isUtf8(printableText(text)));
}
