#include "platform/linux/PortalShortcut.h"

#include <cerrno>
#include <utility>

namespace vigilo {
namespace {

constexpr const char* desktopEntry = "vigilo";
constexpr const char* shortcutId = "toggle";

}  // namespace

PortalShortcut::PortalShortcut() {
  auto opened = bus::ShortcutsConnection::open();
  if (opened) {
    bus_ = *std::move(opened);
    begin();
  } else {
    set(false, "no session bus: " + opened.error().description, Next::retryLater);
  }
}

void PortalShortcut::begin() {
  const auto unregistered = bus_->registerApplication(desktopEntry);
  // Whether the portal knows the question does not matter, but one that hangs is not asked on.
  const auto failed = unregistered && unregistered->code == ETIMEDOUT ? unregistered : bus_->createSession();
  if (failed) return fail(*failed);
  set(false, "the desktop portal has not answered yet", Next::wait);
  // The question may have started the portal: that it has come is no news then.
  for (Event& event : received()) {
    if (event.kind != Event::Kind::serviceChanged || event.text.empty()) early_.push_back(std::move(event));
  }
}

int PortalShortcut::descriptor() const {
  return bus_ == nullptr ? -1 : bus_->descriptor();
}

std::vector<PortalShortcut::Event> PortalShortcut::received() {
  if (bus_ == nullptr) return {};
  auto events = bus_->process();
  if (events) return *std::move(events);
  bus_.reset();
  set(false, "the session bus has ended", Next::retryLater);
  return {};
}

int PortalShortcut::process() {
  int presses = 0;
  // What comes while a call is made waits inside the connection: asked for until nothing is left.
  for (auto events = std::exchange(early_, {}); !events.empty() || !(events = received()).empty();) {
    for (const Event& event : std::exchange(events, {})) presses += take(event) ? 1 : 0;
  }
  return presses;
}

// Acts on the event; true when it is a press.
bool PortalShortcut::take(const Event& event) {
  switch (event.kind) {
    case Event::Kind::sessionCreated:
      if (event.response == 0)
        bind();
      else
        set(false, "the desktop portal gives no session for shortcuts", Next::retryLater);
      break;
    case Event::Kind::bound:
      takeAnswer(event);
      break;
    case Event::Kind::activated:
      return event.text == shortcutId;
    case Event::Kind::sessionClosed:
      set(false, "the desktop has ended the session for the shortcut", Next::retryLater);
      break;
    case Event::Kind::serviceChanged:
      if (event.text.empty())
        set(false, "the desktop portal has ended", Next::retryLater);
      else
        set(false, "the desktop portal is starting", Next::retryNow);
      break;
  }
  return false;
}

void PortalShortcut::bind() {
  set(false, "waiting for the desktop to confirm the shortcut", Next::wait);
  if (const auto failed =
          bus_->bindShortcut({shortcutId, "Turn Vigilo's protection on or off", "ALT+LOGO+l"})) {
    fail(*failed);
  }
}

// A user who has said no, or a desktop that cannot, is not asked again until the portal is a new one.
void PortalShortcut::takeAnswer(const Event& bound) {
  if (bound.response == 0) {
    const std::string keys = bound.text.empty() ? "the keys in the desktop's settings" : bound.text;
    set(true, keys + ", through the desktop portal", Next::wait);
  } else if (bound.response == 1) {
    set(false, "declined when the desktop asked for it", Next::wait);
  } else {
    set(false, "the desktop portal could not bind it", Next::wait);
  }
}

void PortalShortcut::set(bool isRegistered, std::string description, Next next) {
  state_ = {isRegistered, std::move(description)};
  next_ = next;
}

void PortalShortcut::fail(const bus::Error& error) {
  if (error.code == ETIMEDOUT) return set(false, "the desktop portal does not answer", Next::retryLater);
  if (error.code == ENOENT) return set(false, "no desktop portal runs in this session", Next::retryLater);
  // Only another portal could do better.
  set(false, "the desktop portal offers no global shortcuts (" + error.description + ")", Next::wait);
}

}  // namespace vigilo
