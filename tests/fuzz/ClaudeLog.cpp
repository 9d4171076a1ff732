#include "tests/fuzz/LogFuzz.h"
#include "usage/ClaudeProjectLogs.h"

VIGILO_FUZZ(text) {
  vigilo::fuzz::followLog(text, "project/session.jsonl", vigilo::claudeProjectLogs);
}
