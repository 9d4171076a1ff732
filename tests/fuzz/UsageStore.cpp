#include <sstream>

#include "tests/fuzz/Fuzz.h"
#include "usage/UsageJournal.h"
#include "usage/UsageStoreReader.h"

using namespace vigilo;

VIGILO_FUZZ(text) {
  std::istringstream store{std::string(text)};
  (void)readUsageStore(store);
  std::istringstream lines{std::string(text)};
  UsageLedger ledger;
  UsageJournal("journal", nullptr).read(lines, [&ledger](UsageEvent event) {
    return ledger.add(std::move(event)) != UsageLedger::Addition::refused;
  });
}
