#include "helper/DefaultSystemPowerController.h"

#include <unistd.h>

#include <sstream>

#include "support/Utf8.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr Log logger{"com.vigilo.helper", "power"};

constexpr auto toolLimit = 2s;
constexpr auto pauseAfterHang = 10s;
constexpr int killed = 128;  // and beyond: the exit status tells the signal

// Only the line's beginning is compared, so that longer names of the setting count too.
bool lineShowsSleepDisabled(const std::string& line) {
  const auto start = line.find_first_not_of(" \t");
  if (start == std::string::npos || line.compare(start, 12, "disablesleep") != 0) return false;
  std::istringstream words(line);
  std::string name;
  std::string value;
  return words >> name >> value && value == "1";
}

}  // namespace

bool DefaultSystemPowerController::listingShowsSleepDisabled(std::string_view listing) {
  if (!isUtf8(listing)) return false;
  std::istringstream lines{std::string(listing)};
  for (std::string line; std::getline(lines, line);) {
    if (lineShowsSleepDisabled(line)) return true;
  }
  return false;
}

std::optional<bool> DefaultSystemPowerController::readSleepDisabled() {
  if (std::chrono::steady_clock::now() < nextReading_) return std::nullopt;
  const auto listing = run({"-g", "custom"}, true);
  // A listing that somebody cut off says nothing.
  if (!listing || listing->exitStatus >= killed) return std::nullopt;
  return listingShowsSleepDisabled(listing->standardOutput);
}

bool DefaultSystemPowerController::writeSleepDisabled(bool disabled) {
  const std::string value = disabled ? "1" : "0";
  const auto done = run({"-a", "disablesleep", value}, false);
  if (!done) return false;
  if (done->exitStatus != 0) {
    report("Failed to execute pmset -a disablesleep " + value +
           ", status: " + std::to_string(done->exitStatus));
    return false;
  }
  failure_.ends();
  logger.info("Executed pmset -a disablesleep %s", value);
  return true;
}

std::optional<SubprocessResult> DefaultSystemPowerController::run(const std::vector<std::string>& arguments,
                                                                  bool captureOutput) {
  const auto start = std::chrono::steady_clock::now();
  auto result = runProgram(toolPath, arguments, {.captureOutput = captureOutput, .timeLimit = toolLimit});
  if (result) return result;
  const auto end = std::chrono::steady_clock::now();
  const bool hung = end - start >= toolLimit;
  if (hung) nextReading_ = end + pauseAfterHang;
  report(hung ? toolPath + std::string(" was killed: it did not end within two seconds")
              : std::string("Cannot launch ") + toolPath);
  return result;
}

// What is tried again every few seconds, and fails again, is said once.
void DefaultSystemPowerController::report(const std::string& failure) {
  if (failure_.begins(failure)) logger.error("%s", failure);
}

std::string DefaultSystemPowerController::description() const {
  return std::string("the tool ") + toolPath;
}

std::unique_ptr<SystemPowerControlling> makeSystemPowerController(ServiceManager& serviceManager) {
  if (::access(DefaultSystemPowerController::toolPath, F_OK) == 0) {
    return std::make_unique<DefaultSystemPowerController>();
  }
  return makeNativePowerController(serviceManager);
}

}  // namespace vigilo
