#include <systemd/sd-daemon.h>

#include <cstdlib>
#include <string_view>

#include "platform/ServiceManager.h"

namespace vigilo {
namespace {

constexpr std::string_view holdName = "deep-hold";

// Speaks to systemd, or to whoever listens at $NOTIFY_SOCKET as it does. The variable stays: each message is
// sent through it, and a copy of this program's environment goes to the power-management tool alone.
class SystemdServiceManager final : public ServiceManager {
 public:
  void tellReady() override { ::sd_notify(0, "READY=1"); }
  void tellAlive() override { ::sd_notify(0, "WATCHDOG=1"); }
  void tellStopping() override { ::sd_notify(0, "STOPPING=1"); }

  // Without FDPOLL=0 the manager would drop an inhibitor's descriptor when logind restarts: its other end
  // hangs up for a moment.
  void keepHold(int fd) override {
    forgetHold();
    ::sd_pid_notify_with_fds(0, 0, "FDSTORE=1\nFDNAME=deep-hold\nFDPOLL=0", &fd, 1);
  }

  void forgetHold() override { ::sd_notify(0, "FDSTOREREMOVE=1\nFDNAME=deep-hold"); }

  UniqueFd takeKeptHold() override;
};

UniqueFd SystemdServiceManager::takeKeptHold() {
  char** names = nullptr;
  const int count = ::sd_listen_fds_with_names(1, &names);
  UniqueFd kept;
  for (int i = 0; i < count; ++i) {
    // Whatever comes is ours to close.
    UniqueFd fd(SD_LISTEN_FDS_START + i);
    if (names[i] == holdName) kept = std::move(fd);
    ::free(names[i]);
  }
  ::free(names);
  if (count > 0) forgetHold();
  return kept;
}

}  // namespace

std::unique_ptr<ServiceManager> makeServiceManager() {
  return std::make_unique<SystemdServiceManager>();
}

}  // namespace vigilo
