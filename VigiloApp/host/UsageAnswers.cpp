#include "VigiloApp/host/UsageAnswers.h"

#include <algorithm>

namespace vigilo {
namespace {

// Before and after every date that an event can carry.
constexpr Date beginning{-1e18};
constexpr Date end{1e18};

constexpr std::int64_t mostHours = 7 * 24;

}  // namespace

ControlResponse answerFromStore(const ControlRequest& request, UsageStore& store) {
  ControlResponse response;
  if (request.command == ControlCommand::usageSummary) {
    const bool today = !request.from && !request.to;
    response.usageSummary = today ? store.todaySummary()
                                  : store.summary(request.from.value_or(beginning), request.to.value_or(end));
    return response;
  }
  if (request.command == ControlCommand::usageHours) {
    const auto hours = std::clamp<std::int64_t>(request.limit.value_or(24), 1, mostHours);
    response.usageHours = store.hours(static_cast<std::size_t>(hours));
    return response;
  }
  const auto offset = static_cast<std::size_t>(std::max<std::int64_t>(request.offset.value_or(0), 0));
  const auto limit = static_cast<std::size_t>(std::max<std::int64_t>(request.limit.value_or(0), 0));
  // A sum that wraps around asks for fewer, never for more than there are.
  auto sessions = store.recentSessions(std::max(limit, limit + offset));
  sessions.erase(sessions.begin(),
                 sessions.begin() + static_cast<std::ptrdiff_t>(std::min(offset, sessions.size())));
  if (sessions.size() > limit) sessions.resize(limit);
  response.usageSessions = std::move(sessions);
  return response;
}

}  // namespace vigilo
