#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vigilo {

// One graphical application, by its main process. A plain value.
struct RunningApplication {
  std::int32_t pid = 0;
  std::string localizedName;  // empty where it has none
  std::string
      bundleIdentifier;  // the application's id, such as "com.example.Editor"; empty where it has none

  bool operator==(const RunningApplication&) const = default;
};

// The graphical applications that run now, each once: its renderers, helpers and tools are not among them.
// Reads files and may block as long as they do. Not thread-safe.
class RunningApplications {
 public:
  virtual ~RunningApplications() = default;
  virtual std::vector<RunningApplication> list() = 0;
};

std::unique_ptr<RunningApplications> makeRunningApplications();

}  // namespace vigilo
