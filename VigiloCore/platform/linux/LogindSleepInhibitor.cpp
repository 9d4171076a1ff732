#include "platform/linux/LogindSleepInhibitor.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <future>

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr Log logger{"com.vigilo.helper", "power"};

// Half of what a client waits for its answer.
constexpr auto patience = 500ms;

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
  return isInForce() || isSleepMasked(unitFolders_);
}

bool LogindSleepInhibitor::writeSleepDisabled(bool disabled) {
  if (disabled) {
    bringAbout();
    return isInForce();
  }
  const LockGuard guard(lock_);
  isWanted_ = false;
  isConfirmed_ = false;
  if (hold_) logger.info("Released the logind inhibitor %s", heldAgainst);
  hold_.reset();
  serviceManager_.forgetHold();
  failure_.ends();  // What is no longer wanted no longer fails.
  return true;
}

void LogindSleepInhibitor::ensureSleepDisabled() {
  bringAbout();
}

std::string LogindSleepInhibitor::description() const {
  const auto answer = std::make_shared<std::promise<void>>();
  const auto missing = std::make_shared<std::string>();
  queue_->async([answer, missing] {
    const auto inhibitors = bus::listInhibitors();
    if (!inhibitors) *missing = whatIsMissing(inhibitors.error());
    answer->set_value();
  });
  const std::string name = std::string("the logind inhibitor ") + heldAgainst;
  if (answer->get_future().wait_for(patience) != std::future_status::ready)
    return name + ", which is not to be had yet: logind does not answer";
  return missing->empty() ? name : name + ", which is not to be had now: " + *missing;
}

bool LogindSleepInhibitor::isInForce() const {
  const LockGuard guard(lock_);
  return hold_ && isConfirmed_;
}

void LogindSleepInhibitor::bringAbout() {
  const auto end = std::make_shared<std::promise<void>>();
  {
    const LockGuard guard(lock_);
    isWanted_ = true;
    isAskedAgain_ = isWorking_;
    if (std::exchange(isWorking_, true)) return;
  }
  queue_->async([this, end] {
    work();
    end->set_value();
  });
  if (answersInTime_) answersInTime_ = end->get_future().wait_for(patience) == std::future_status::ready;
}

void LogindSleepInhibitor::work() {
  do {
    const auto start = std::chrono::steady_clock::now();
    confirmOrTake();
    answersInTime_ = std::chrono::steady_clock::now() - start < patience;
  } while (isWorkLeft());
}

bool LogindSleepInhibitor::isWorkLeft() {
  const LockGuard guard(lock_);
  isWorking_ = std::exchange(isAskedAgain_, false);
  return isWorking_;
}

void LogindSleepInhibitor::confirmOrTake() {
  const bool isConfirmed = confirm() || (take() && confirm());
  const LockGuard guard(lock_);
  isConfirmed_ = isConfirmed;
}

bool LogindSleepInhibitor::confirm() {
  {
    const LockGuard guard(lock_);
    if (!hold_) return false;
  }
  const auto inhibitors = bus::listInhibitors();
  return inhibitors && holdsSleepInhibitor(*inhibitors, ::geteuid(), static_cast<std::uint32_t>(::getpid()));
}

bool LogindSleepInhibitor::take() {
  auto taken = bus::inhibit(heldAgainst, "AI coding agents are working");
  const LockGuard guard(lock_);
  if (!isWanted_) return false;
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
