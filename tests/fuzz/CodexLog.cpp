#include "tests/fuzz/LogFuzz.h"
#include "usage/CodexRollouts.h"

VIGILO_FUZZ(text) {
  vigilo::fuzz::followLog(text, "2026/11/22/rollout-x.jsonl", vigilo::codexRollouts);
}
