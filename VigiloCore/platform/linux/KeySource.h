#pragma once

#include <functional>
#include <memory>

#include "platform/KeyMonitor.h"

namespace vigilo {

// One registration of the shortcut with one service of the desktop, for as long as that service lasts. Lives
// on its watch's queue.
class KeySource {
 public:
  virtual ~KeySource() = default;

  enum class Next {
    wait,        // for what the descriptor brings; nothing else is to be done
    retryLater,  // this source cannot serve; a new one may, after a while
    retryNow,    // the service has just come: a new source soon
  };

  // To be watched for reading; -1 when there is nothing to wait for.
  virtual int descriptor() const = 0;
  // Reads everything that has come, never waits, and returns how often the shortcut was pressed.
  virtual int process() = 0;
  virtual KeyMonitorState state() const = 0;
  virtual Next next() const = 0;
};

// Begins a registration; ends within a few seconds.
using KeySourceFactory = std::function<std::unique_ptr<KeySource>()>;

}  // namespace vigilo
