#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "agents/AgentModel.h"
#include "helper/HelperProtocol.h"
#include "platform/PowerSource.h"
#include "support/Date.h"
#include "support/RecordFields.h"

namespace vigilo {

// One look at everything that decides whether the machine is kept awake, for a person who asks why.
struct DiagnosticsReport {
  std::string appName;
  std::string appVersion;
  std::string osVersion;
  std::string architecture;  // that the program was built for
  Date timestamp;
  std::string policyDecision;  // in words
  bool isHolding = false;
  int activeAgentCount = 0;  // sessions that are working or waiting
  PowerSourceSnapshot batteryStatus;
  std::string thermalState;
  std::optional<DeepSleepStatus> deepHelperStatus;  // absent when unknown
  std::vector<AgentSession> sessions;               // with the folders in which they work
  std::string systemAssertionsSummary;              // everybody's holds; empty when unknown

  bool operator==(const DiagnosticsReport&) const = default;
  static constexpr auto fields() {
    using R = DiagnosticsReport;
    return std::tuple{field("appName", &R::appName),
                      field("appVersion", &R::appVersion),
                      field("osVersion", &R::osVersion),
                      field("architecture", &R::architecture),
                      field("timestamp", &R::timestamp),
                      field("policyDecision", &R::policyDecision),
                      field("isHolding", &R::isHolding),
                      field("activeAgentCount", &R::activeAgentCount),
                      field("batteryStatus", &R::batteryStatus),
                      field("thermalState", &R::thermalState),
                      field("deepHelperStatus", &R::deepHelperStatus),
                      field("sessions", &R::sessions),
                      field("systemAssertionsSummary", &R::systemAssertionsSummary)};
  }
};

}  // namespace vigilo
