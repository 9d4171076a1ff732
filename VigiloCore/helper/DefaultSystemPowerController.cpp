#include "helper/DefaultSystemPowerController.h"

#include <unistd.h>

#include <sstream>

#include "support/Log.h"
#include "support/Subprocess.h"
#include "support/Utf8.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.helper", "power"};

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

bool DefaultSystemPowerController::readSleepDisabled() {
  const auto run = runProgram(toolPath, {"-g", "custom"}, {.captureOutput = true});
  return run && listingShowsSleepDisabled(run->standardOutput);
}

bool DefaultSystemPowerController::writeSleepDisabled(bool disabled) {
  const long value = disabled ? 1 : 0;
  const auto run = runProgram(toolPath, {"-a", "disablesleep", disabled ? "1" : "0"});
  if (!run) {
    logger.error("Cannot launch %s", toolPath);
    return false;
  }
  if (run->exitStatus != 0) {
    logger.error("Failed to execute pmset -a disablesleep %ld, status: %d", value, run->exitStatus);
    return false;
  }
  logger.info("Executed pmset -a disablesleep %ld", value);
  return true;
}

std::string DefaultSystemPowerController::description() const {
  return std::string("the tool ") + toolPath;
}

std::unique_ptr<SystemPowerControlling> makeSystemPowerController() {
  if (::access(DefaultSystemPowerController::toolPath, F_OK) == 0) {
    return std::make_unique<DefaultSystemPowerController>();
  }
  return makeNativePowerController();
}

}  // namespace vigilo
