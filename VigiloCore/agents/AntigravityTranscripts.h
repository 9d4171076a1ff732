#pragma once

#include <string>
#include <vector>

#include "support/Date.h"

namespace vigilo {

// When the transcripts of Antigravity's five newest conversations changed, in the order of the conversations:
// the entries of its brain folder that are not hidden, newest first by when they were modified. Conversations
// without a readable transcript are passed over; empty where there is no such folder. Thread-safe.
std::vector<Date> newestTranscriptChanges(const std::string& brainFolder);

}  // namespace vigilo
