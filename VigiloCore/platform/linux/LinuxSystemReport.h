#pragma once

#include <string>
#include <utility>

#include "platform/SystemReport.h"

namespace vigilo {

// The distribution by its os-release file and the running kernel; the assertions by the power-management tool
// where this machine has it, else logind's inhibitors, a line each. `root` stands for /, and `toolPath` for
// the tool.
class LinuxSystemReport final : public SystemReport {
 public:
  explicit LinuxSystemReport(std::string root = "", std::string toolPath = "/usr/bin/pmset")
      : root_(std::move(root)), toolPath_(std::move(toolPath)) {}

  std::string osVersion() override;
  std::string assertionsSummary() override;

 private:
  const std::string root_;
  const std::string toolPath_;
};

}  // namespace vigilo
