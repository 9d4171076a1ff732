#include <map>
#include <span>

#include "platform/PowerAssertions.h"
#include "platform/linux/Bus.h"
#include "support/Mutex.h"
#include "support/UniqueFd.h"

namespace vigilo {
namespace {

using bus::SessionConnection;
using bus::SessionService;

// In the order of trying. The desktop's own power manager is what really puts the machine to sleep: it is
// asked in its own words where there is one.
constexpr SessionService forSystem[] = {SessionService::sessionManager, SessionService::powerManagement,
                                        SessionService::portal};
constexpr SessionService forDisplay[] = {SessionService::sessionManager, SessionService::screenSaver,
                                         SessionService::portal};

// Assertions as inhibitions of the session's service, of logind's idle action, or of both.
//
// logind's idle lock is taken where no service of the session answers, where logind would act on idleness by
// itself, and for the display; elsewhere it is left alone, since some desktops take it for a wish to keep the
// screen on and unlocked. It is also taken beside the portal, which accepts what no desktop behind it
// honours. So a machine without a desktop has both assertions as logind locks.
//
// The lock guards the list of what is held and is not kept during a call to a service.
class LinuxPowerAssertions final : public PowerAssertions {
 public:
  Result<std::uint32_t, PowerAssertionError> create(PowerAssertionType type,
                                                    const std::string& name) override;
  void release(std::uint32_t identifier) override;
  bool stands(std::uint32_t identifier) override;
  std::string description() const override;

 private:
  struct Hold {
    // Kept for as long as the assertion: the inhibition ends with it, and it tells of services that come and
    // go, upon which another one may be the right one to ask. Null without a session bus.
    std::shared_ptr<SessionConnection> session;
    std::optional<std::uint64_t> generation;
    std::optional<SessionConnection::Inhibition> inhibition;
    UniqueFd logind;
  };

  std::shared_ptr<SessionConnection> session();
  static bool needsLogind(PowerAssertionType type, const Hold& hold);

  Mutex mutex_;
  std::map<std::uint32_t, Hold> holds_ VIGILO_GUARDED_BY(mutex_);
  std::uint32_t last_ VIGILO_GUARDED_BY(mutex_) = 0;
  std::weak_ptr<SessionConnection> session_ VIGILO_GUARDED_BY(mutex_);
};

std::optional<SessionConnection::Inhibition> inhibitSession(SessionConnection& session,
                                                            PowerAssertionType type,
                                                            const std::string& name) {
  const bool display = type == PowerAssertionType::preventUserIdleDisplaySleep;
  const auto scope =
      display ? SessionConnection::Scope::systemAndDisplaySleep : SessionConnection::Scope::systemSleep;
  for (const SessionService service : display ? forDisplay : forSystem) {
    const auto runs = session.hasOwner(service);
    if (!runs) return std::nullopt;  // the bus is silent or lost: so it would be for the others
    if (!*runs) continue;
    if (const auto inhibition = session.inhibit(service, scope, name)) return *inhibition;
  }
  return std::nullopt;
}

bool LinuxPowerAssertions::needsLogind(PowerAssertionType type, const Hold& hold) {
  if (type == PowerAssertionType::preventUserIdleDisplaySleep) return true;
  if (!hold.inhibition || hold.inhibition->service == SessionService::portal) return true;
  const auto action = bus::idleAction();
  return action && *action != "ignore";
}

Result<std::uint32_t, PowerAssertionError> LinuxPowerAssertions::create(PowerAssertionType type,
                                                                        const std::string& name) {
  Hold hold;
  hold.session = session();
  if (hold.session != nullptr) {
    // Taken before the service is chosen: one that changes meanwhile is noticed.
    hold.generation = hold.session->generation();
    hold.inhibition = inhibitSession(*hold.session, type, name);
  }
  if (needsLogind(type, hold)) {
    auto logind = bus::inhibit("idle", name);
    if (!logind && !hold.inhibition) return PowerAssertionError{logind.error().code};
    if (logind) hold.logind = *std::move(logind);
  }
  const LockGuard guard(mutex_);
  holds_.emplace(++last_, std::move(hold));
  return last_;
}

void LinuxPowerAssertions::release(std::uint32_t identifier) {
  std::map<std::uint32_t, Hold>::node_type hold;
  {
    const LockGuard guard(mutex_);
    hold = holds_.extract(identifier);
  }
  if (!hold.empty() && hold.mapped().inhibition) hold.mapped().session->uninhibit(*hold.mapped().inhibition);
}

bool LinuxPowerAssertions::stands(std::uint32_t identifier) {
  std::shared_ptr<SessionConnection> session;
  std::optional<std::uint64_t> generation;
  {
    const LockGuard guard(mutex_);
    const auto found = holds_.find(identifier);
    if (found == holds_.end()) return false;
    session = found->second.session;
    generation = found->second.generation;
  }
  // logind keeps its locks over its own restart, for as long as the descriptor is open.
  return session == nullptr || (generation && session->generation() == generation);
}

std::shared_ptr<SessionConnection> LinuxPowerAssertions::session() {
  {
    const LockGuard guard(mutex_);
    auto session = session_.lock();
    if (session != nullptr && session->generation()) return session;
  }
  const auto opened = SessionConnection::open();
  if (!opened) return nullptr;
  const LockGuard guard(mutex_);
  session_ = *opened;
  return *opened;
}

std::string LinuxPowerAssertions::description() const {
  if (const auto session = SessionConnection::open()) {
    for (const SessionService service : forSystem) {
      const auto runs = (*session)->hasOwner(service);
      if (!runs) break;
      if (*runs) return bus::displayName(service);
    }
  }
  const auto logind = bus::idleAction();
  return logind ? "logind idle inhibitor" : "none (" + logind.error().description + ")";
}

}  // namespace

std::unique_ptr<PowerAssertions> makePowerAssertions() {
  return std::make_unique<LinuxPowerAssertions>();
}

}  // namespace vigilo
