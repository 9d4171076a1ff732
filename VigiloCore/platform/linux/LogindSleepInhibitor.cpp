#include "platform/linux/LogindSleepInhibitor.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.helper", "power"};

bool isMasked(const std::string& unitFile) {
  std::error_code ignored;
  return std::filesystem::is_symlink(unitFile, ignored) &&
         std::filesystem::canonical(unitFile, ignored) == "/dev/null";
}

std::string whatIsMissing(const bus::Error& error) {
  switch (error.code) {
    case ENOENT:
      return "no system bus or no logind on it (" + error.description + ")";
    case EACCES:
      return "access denied by policy (" + error.description + ")";
    case ETIMEDOUT:
      return "logind does not answer (" + error.description + ")";
    default:
      return error.description;
  }
}

}  // namespace

bool isSleepMasked(const std::vector<std::string>& unitFolders) {
  return std::any_of(unitFolders.begin(), unitFolders.end(), [](const std::string& folder) {
    return isMasked(folder + "/suspend.target") || isMasked(folder + "/sleep.target");
  });
}

bool holdsSleepInhibitor(const std::vector<bus::Inhibitor>& inhibitors, std::uint32_t uid,
                         std::uint32_t pid) {
  return std::any_of(inhibitors.begin(), inhibitors.end(), [&](const bus::Inhibitor& inhibitor) {
    return inhibitor.who == "Vigilo" && inhibitor.what == heldAgainst && inhibitor.mode == "block" &&
           inhibitor.uid == uid && inhibitor.pid == pid;
  });
}

std::optional<bool> LogindSleepInhibitor::readSleepDisabled() {
  return isHoldInForce() || isSleepMasked(unitFolders_);
}

bool LogindSleepInhibitor::writeSleepDisabled(bool disabled) {
  if (disabled) return take();
  if (hold_) logger.info("Released the logind inhibitor %s", heldAgainst);
  hold_.reset();
  serviceManager_.forgetHold();
  failure_.ends();  // What is no longer wanted no longer fails.
  return true;
}

void LogindSleepInhibitor::ensureSleepDisabled() {
  if (!isHoldInForce()) take();
}

std::string LogindSleepInhibitor::description() const {
  const std::string name = std::string("the logind inhibitor ") + heldAgainst;
  const auto answer = bus::listInhibitors();
  return answer ? name : name + ", which is not to be had now: " + whatIsMissing(answer.error());
}

bool LogindSleepInhibitor::isHoldInForce() const {
  if (!hold_) return false;
  const auto inhibitors = bus::listInhibitors();
  return inhibitors && holdsSleepInhibitor(*inhibitors, ::geteuid(), static_cast<std::uint32_t>(::getpid()));
}

bool LogindSleepInhibitor::take() {
  auto taken = bus::inhibit(heldAgainst, "AI coding agents are working");
  if (!taken) {
    const std::string missing = whatIsMissing(taken.error());
    if (failure_.begins(missing)) {
      logger.error("Failed to take the logind inhibitor %s: %s", heldAgainst, missing);
    }
    return false;
  }
  serviceManager_.keepHold(taken->get());
  hold_ = std::move(*taken);
  if (failure_.ends()) {
    logger.info("Took the logind inhibitor %s after failures", heldAgainst);
  } else {
    logger.info("Took the logind inhibitor %s", heldAgainst);
  }
  return true;
}

std::unique_ptr<SystemPowerControlling> makeNativePowerController(ServiceManager& serviceManager) {
  return std::make_unique<LogindSleepInhibitor>(serviceManager);
}

}  // namespace vigilo
