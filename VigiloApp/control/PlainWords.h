#pragma once

#include <string>
#include <string_view>

namespace vigilo {

// A line of the log as people are shown it: names of the message bus go where they only say of what kind an
// error is ("org.freedesktop.DBus.Error.NoReply: ..."), and elsewhere give way to their last part. Pure.
std::string plainWords(std::string_view line);

}  // namespace vigilo
