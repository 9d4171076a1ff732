#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/KeyMonitor.h"
#include "platform/linux/KeySource.h"

namespace vigilo {

// Watches through the desktop portal in a Wayland session, through a grab in one of an X server. What the
// session is stands in the environment, which is looked at once, when the monitor is made. Thread-safe.
class LinuxKeyMonitor final : public KeyMonitor {
 public:
  // The value of a variable, absent when it is not set.
  using Environment = std::function<std::optional<std::string>(const char* name)>;

  explicit LinuxKeyMonitor(const Environment& environment);
  CancelToken watch(Queue& queue, Callbacks callbacks) override;

 private:
  const KeySourceFactory makeSource_;
};

}  // namespace vigilo
