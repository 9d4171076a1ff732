#pragma once

#include <memory>

#include "support/AsioQueue.h"

// What the end of the host needs, so that it comes in time whatever hangs.
namespace vigilo {

// Whether everything that waits on the queue is done in time.
bool comesToRest(Queue& queue, Duration patience);

// Ends the process without waiting for anybody. What it holds ends with it.
[[noreturn]] void endAtOnce();

// Ends the process, with a line in the log, when it has not ended by itself so long after `begin`. Must
// outlive everything that may hang. One thread at a time.
class EndWatch {
 public:
  void begin(Duration patience);

 private:
  std::unique_ptr<AsioQueue> queue_;
};

}  // namespace vigilo
