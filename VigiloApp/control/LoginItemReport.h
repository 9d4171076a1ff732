#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "support/RecordFields.h"

namespace vigilo {

// What `vigilo login status` tells: what is registered, which need not be what the setting says.
struct LoginItemReport {
  std::string status;  // in words: "Enabled"
  bool isEnabled = false;
  bool launchAtLogin = false;          // the setting
  std::vector<std::string> sources;    // the files that the status comes from
  std::optional<std::string> program;  // that is started at login, where a source names it
  std::optional<std::string> remark;   // what is odd about it, and what to do

  static constexpr auto fields() {
    using R = LoginItemReport;
    return std::tuple{field("status", &R::status),
                      field("isEnabled", &R::isEnabled),
                      field("launchAtLogin", &R::launchAtLogin),
                      field("sources", &R::sources),
                      field("program", &R::program),
                      field("remark", &R::remark)};
  }
};

}  // namespace vigilo
