#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>

#include "support/RecordCoder.h"
#include "support/Result.h"
#include "usage/UsageLedger.h"

namespace vigilo {

// What a usage store file holds. The file is one object: "schemaVersion" (an integer), "events" (an array of
// events in the order of acceptance), "sessions" (an object of session records by session id) and "seenKeys"
// (an array of strings). Files from before there were versions lack the first; the others are required.
struct UsageStoreContent {
  UsageLedger ledger;
  std::optional<std::int64_t> schemaVersion;  // absent in a file of the old format
};

// Reads a file of any length piece by piece: beside the ledger no more than one event is held. Bytes that are
// no such file, and figures that the ledger refuses, are an error. Thread-safe.
Result<UsageStoreContent, DecodeError> readUsageStore(std::istream& file);

}  // namespace vigilo
