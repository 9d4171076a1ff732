#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/SystemPowerControlling.h"

namespace vigilo::test {

// A sleep setting in memory that keeps the ordered list of what was asked of it.
class RecordingPowerController final : public SystemPowerControlling {
 public:
  std::optional<bool> readSleepDisabled() override {
    actions_.emplace_back("read");
    return disabled;
  }
  bool writeSleepDisabled(bool value) override {
    actions_.emplace_back(value ? "disable sleep" : "enable sleep");
    if (works) disabled = value;
    return works;
  }
  void ensureSleepDisabled() override {
    actions_.emplace_back("ensure");
    if (works) disabled = true;
  }
  std::string description() const override { return "memory"; }

  // The actions so far, which are forgotten with this.
  std::vector<std::string> take() { return std::exchange(actions_, {}); }

  bool disabled = false;
  bool works = true;

 private:
  std::vector<std::string> actions_;
};

}  // namespace vigilo::test
