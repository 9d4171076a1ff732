#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agents/HookEvent.h"
#include "agents/SessionTable.h"

namespace vigilo {

// What hook events mean that came without a session id, as they do when an agent's object is lost on its way
// to the relay. They carry an id that the decoder made up ("claude-default"), and so does a session that such
// events began.
//
// While an agent has living sessions with ids, an event without one belongs to the one that fits what the
// event does know, its folder and its process. Where several or none fit, nobody can say whose it is, and it
// changes none: a session of its own would be a second life of one that is known already, which no later
// event would end. Custom agents are left out: what one of them names says nothing of the others. Pure
// functions.

// The session that the event belongs to: its own id where it has one, or where its agent has no living
// session with an id. Absent where nobody can say.
std::optional<std::string> sessionOf(const HookEvent& event, const SessionTable& sessions);

// The sessions without an id that the event's session, which has one, turns out to be.
std::vector<std::string> absorbedBy(const HookEvent& event, const SessionTable& sessions);

}  // namespace vigilo
