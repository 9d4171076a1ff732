#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vigilo {

// The id of the application that a service manager put into a control group, by the last part of the group's
// path: "app[-<launcher>]-<id>-<random>.scope", "app[-<launcher>]-<id>[@<random>].service" or
// "snap.<name>.<app>-<random>.scope". Absent for any other name. Total on hostile text; thread-safe.
std::optional<std::string> applicationOfScope(std::string_view unit);

// The last part of the process's group, from the text of /proc/PID/cgroup; empty where there is none.
std::string_view unitOfProcess(std::string_view cgroupText);

}  // namespace vigilo
