#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "agents/AgentAdapter.h"
#include "support/RecordFields.h"

namespace vigilo {

// One way to set an agent up.
struct SetupVariant {
  std::string title;
  bool isRecommended = false;
  std::string configPath;
  std::string snippet;
  std::string instructions;

  static constexpr auto fields() {
    using V = SetupVariant;
    return std::tuple{field("title", &V::title), field("isRecommended", &V::isRecommended),
                      field("configPath", &V::configPath), field("snippet", &V::snippet),
                      field("instructions", &V::instructions)};
  }
};

// What `vigilo setup AGENT` shows.
struct SetupReport {
  AgentType agent{};
  std::string displayName;
  std::string relayPath;
  std::optional<std::string> reason;  // why the plain form does not do
  std::vector<SetupVariant>
      variants;              // the one to take first; none for an agent that is watched as a process
  std::string instructions;  // of such an agent

  static constexpr auto fields() {
    using R = SetupReport;
    return std::tuple{field("agent", &R::agent),         field("displayName", &R::displayName),
                      field("relayPath", &R::relayPath), field("reason", &R::reason),
                      field("variants", &R::variants),   field("instructions", &R::instructions)};
  }
};

SetupReport setupReport(const AgentAdapter& adapter, const std::string& relay);
std::string setupText(const SetupReport& report);

}  // namespace vigilo
