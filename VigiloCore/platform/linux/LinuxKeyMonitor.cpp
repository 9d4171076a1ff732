#include "platform/linux/LinuxKeyMonitor.h"

#include <cstdlib>
#include <utility>

#include "platform/linux/KeyWatch.h"
#include "platform/linux/PortalShortcut.h"
#include "platform/linux/X11KeyGrab.h"

namespace vigilo {
namespace {

// Where neither is there to ask.
class NoKeySource final : public KeySource {
 public:
  int descriptor() const override { return -1; }
  int process() override { return 0; }
  KeyMonitorState state() const override {
    return {false, "this session has neither an X server nor a Wayland desktop"};
  }
  Next next() const override { return Next::wait; }
};

// A Wayland session mostly has an X server beside it, which sees the keys of X programs only: it is not asked
// there.
KeySourceFactory sourceOf(const LinuxKeyMonitor::Environment& environment) {
  const std::string session = environment("XDG_SESSION_TYPE").value_or("");
  const std::string display = environment("DISPLAY").value_or("");
  const bool hasWayland = !environment("WAYLAND_DISPLAY").value_or("").empty();
  if (session == "wayland" || (session != "x11" && hasWayland)) {
    return [] { return std::make_unique<PortalShortcut>(); };
  }
  if (!display.empty()) return [display] { return std::make_unique<X11KeyGrab>(display); };
  return [] { return std::make_unique<NoKeySource>(); };
}

}  // namespace

LinuxKeyMonitor::LinuxKeyMonitor(const Environment& environment) : makeSource_(sourceOf(environment)) {}

CancelToken LinuxKeyMonitor::watch(Queue& queue, Callbacks callbacks) {
  return KeyWatch::begin(queue, makeSource_, std::move(callbacks));
}

std::unique_ptr<KeyMonitor> makeKeyMonitor() {
  return std::make_unique<LinuxKeyMonitor>([](const char* name) -> std::optional<std::string> {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
  });
}

}  // namespace vigilo
