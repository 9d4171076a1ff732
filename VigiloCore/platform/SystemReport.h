#pragma once

#include <memory>
#include <string>

namespace vigilo {

// What the system says of itself, for a diagnostics report. Nothing fails for the caller: what cannot be had
// is empty. Thread-safe.
class SystemReport {
 public:
  virtual ~SystemReport() = default;
  // For people: "Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64".
  virtual std::string osVersion() = 0;
  // Everybody's assertions that keep the machine awake, as text for people, ending in a line feed. Blocks for
  // a call to a service or the run of a tool, three seconds at most.
  virtual std::string assertionsSummary() = 0;
};

std::unique_ptr<SystemReport> makeSystemReport();

}  // namespace vigilo
