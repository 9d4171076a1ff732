#include "VigiloApp/host/HostEnd.h"

#include <unistd.h>

#include <cstdio>
#include <future>

#include "VigiloApp/control/ControlProtocol.h"
#include "support/Log.h"

namespace vigilo {

bool comesToRest(Queue& queue, Duration patience) {
  const auto done = std::make_shared<std::promise<void>>();
  auto future = done->get_future();
  queue.async([done] { done->set_value(); });
  return future.wait_for(patience) == std::future_status::ready;
}

void endAtOnce() {
  std::fflush(nullptr);
  ::_exit(exitOk);
}

void EndWatch::begin(Duration patience) {
  queue_ = AsioQueue::withThread("com.vigilo.end");
  queue_->asyncAfter(patience, [] {
    Log("com.vigilo.app", "host").error("Something hangs that was asked for: ending without it");
    endAtOnce();
  });
}

}  // namespace vigilo
