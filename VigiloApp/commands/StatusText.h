#pragma once

#include <optional>
#include <string>

#include "VigiloApp/control/StatusReport.h"
#include "policy/WakeDecision.h"

namespace vigilo {

// What `vigilo status` prints: in plain words what is held, why, since when, and what would end it. Ends in a
// line feed. `now` is the reader's.
std::string statusText(const StatusReport& report, Date now);

// The same in a few lines: what is held and why, and what is not as it should be. Ends in a line feed.
std::string statusSummary(const StatusReport& report, Date now);

// "on battery, 57 %, 2 h 10 min left".
std::string powerText(const PowerSourceSnapshot& power);

// "Alt+Super+L, through the X server", "not available: no X server runs on display :0".
std::string shortcutText(const ShortcutReport& shortcut);

// How long a hold goes on after the last agent has stopped, as it was when the decision was made; absent for
// a hold of another reason.
std::optional<double> debounceSeconds(const WakeDecision::Hold& hold);

// Whether the second decision is news to somebody who has read the first: a debounce that counts down is not,
// nor is one agent of a kind more or less.
bool isNews(const WakeDecision& before, const WakeDecision& now);

// Whether two reports differ in nothing but what the passing of time changes.
bool sameButForTime(StatusReport before, StatusReport now);

}  // namespace vigilo
