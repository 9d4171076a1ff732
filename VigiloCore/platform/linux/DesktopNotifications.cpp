#include <algorithm>
#include <cerrno>
#include <map>

#include "platform/UserNotifications.h"
#include "platform/linux/BusNotifications.h"

namespace vigilo {
namespace {

using bus::NotificationsConnection;

// The text as a service shows it that takes it for markup.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '&')
      result += "&amp;";
    else if (c == '<')
      result += "&lt;";
    else if (c == '>')
      result += "&gt;";
    else
      result += c;
  }
  return result;
}

// Notifications through the service of the desktop session. The connection is kept, since some services take
// a notice back when its sender leaves the bus.
class DesktopNotifications final : public UserNotifications {
 public:
  Outcome requestAuthorization() override;
  Outcome post(const UserNotification& notification) override;
  std::string description() const override;

 private:
  using Step = Result<bool, bus::Error>;

  Step connect();
  Step show(const UserNotification& notification);
  Step getToKnow(const std::string& provider);
  void forget();
  // Takes the step, and takes it again on a new connection where one that was there before let it down.
  template <class Member>
  Outcome take(Member step);

  std::unique_ptr<NotificationsConnection> connection_;
  // Who provides the service, and what is known of that process alone.
  std::string provider_;
  bool takesMarkup_ = false;
  std::map<std::string, std::uint32_t> shown_;  // ids by identifier
};

// False where there is no session bus.
DesktopNotifications::Step DesktopNotifications::connect() {
  if (connection_ != nullptr) return true;
  auto opened = NotificationsConnection::open();
  if (opened) {
    connection_ = *std::move(opened);
    return true;
  }
  if (opened.error().code == ENOENT) return false;
  return opened.error();
}

template <class Member>
UserNotifications::Outcome DesktopNotifications::take(Member step) {
  for (;;) {
    const bool isNew = connection_ == nullptr;
    auto outcome = connect();
    if (outcome && *outcome) outcome = step();
    if (outcome) return *outcome;
    if (isNew || outcome.error().code == ETIMEDOUT) return NotificationError{outcome.error().description};
    forget();
    connection_ = nullptr;
  }
}

UserNotifications::Outcome DesktopNotifications::requestAuthorization() {
  return take([&] { return connection_->isOffered(); });
}

UserNotifications::Outcome DesktopNotifications::post(const UserNotification& notification) {
  return take([&] { return show(notification); });
}

DesktopNotifications::Step DesktopNotifications::show(const UserNotification& notification) {
  const auto provider = connection_->provider();
  if (!provider) return provider.error();
  if (provider->empty()) return false;
  if (*provider != provider_) {
    if (const auto known = getToKnow(*provider); !known) return known;
  }
  NotificationsConnection::Message message;
  const auto before = shown_.find(notification.identifier);
  if (before != shown_.end()) message.replaces = before->second;
  message.title = notification.title;
  message.body = takesMarkup_ ? escaped(notification.body) : notification.body;
  message.critical = notification.urgent;
  message.suppressSound = notification.silent;
  const auto id = connection_->notify(*provider, message);
  if (!id) return id.error();
  shown_[notification.identifier] = *id;
  return true;
}

DesktopNotifications::Step DesktopNotifications::getToKnow(const std::string& provider) {
  forget();
  const auto capabilities = connection_->capabilities(provider);
  if (!capabilities) return capabilities.error();
  takesMarkup_ = std::find(capabilities->begin(), capabilities->end(), "body-markup") != capabilities->end();
  provider_ = provider;
  return true;
}

// An id of one process may be another notice's with the next.
void DesktopNotifications::forget() {
  provider_.clear();
  shown_.clear();
}

std::string DesktopNotifications::description() const {
  const auto connection = NotificationsConnection::open();
  if (!connection && connection.error().code == ENOENT) return "none (no session bus)";
  if (!connection) return "none (" + connection.error().description + ")";
  const auto offered = (*connection)->isOffered();
  if (!offered) return "none (" + offered.error().description + ")";
  return *offered ? "the session's notification service" : "none (no notification service in this session)";
}

}  // namespace

std::unique_ptr<UserNotifications> makeUserNotifications() {
  return std::make_unique<DesktopNotifications>();
}

}  // namespace vigilo
