#pragma once

#include <optional>
#include <string>

#include "platform/Directories.h"
#include "support/AtomicFile.h"

namespace vigilo {

// A write that the policy refused. A plain value; equal when path and reason are.
struct VigiloWriteSecurityError {
  std::string path;
  std::string reason;

  static VigiloWriteSecurityError writeDisallowed(std::string path, std::string reason) {
    return {std::move(path), std::move(reason)};
  }
  // The refusal that the policy itself gives.
  static VigiloWriteSecurityError notOwned(std::string path);
  std::string localizedDescription() const;
  bool operator==(const VigiloWriteSecurityError&) const = default;
};

// The single gate before a write. The agents' configuration and logs are read but must never be changed by
// accident: a path inside them, a shell's start-up file or a system folder is refused, and of the rest only
// what lies in this system's own places is allowed. Prohibited places are looked at first. A refusal is
// logged with the path.
//
// Paths are compared as written after "." and ".." are removed; links are not resolved. A relative path
// counts from the working folder. Prohibited places block themselves and what is below them; an owned place
// is a plain prefix, because the helper's files lie beside a folder of that name, not in it. No state;
// thread-safe.
class VigiloWritePolicy {
 public:
  VigiloWritePolicy() = delete;

  static bool mayWrite(const std::string& path, const Directories& directories);
  // Absent where the path may be written.
  [[nodiscard]] static std::optional<VigiloWriteSecurityError> assertCanWrite(const std::string& path,
                                                                              const Directories& directories);
  // For a file that the user named, an export: anywhere but in the prohibited places.
  static bool mayExport(const std::string& path, const Directories& directories);

  // The same questions for writers that know of no policy.
  static WriteGate gate(Directories directories);
  static WriteGate exportGate(Directories directories);
};

}  // namespace vigilo
