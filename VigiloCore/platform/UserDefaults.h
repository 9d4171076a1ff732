#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/Directories.h"
#include "support/AtomicFile.h"
#include "support/Date.h"
#include "support/Queue.h"

namespace vigilo {

using DefaultsValue = std::variant<bool, std::int64_t, double, std::string, Date>;

// The user's preferences: typed values by key that persist. Values are read from memory; a write changes
// memory at once and reaches the disk on the backend's own queue. Thread-safe.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  // The stored value with its type; absent when the key is missing or its value has a type this system never
  // writes.
  virtual std::optional<DefaultsValue> object(const std::string& key) const = 0;
  // Every stored key, also of values of other types.
  virtual std::vector<std::string> keys() const = 0;
  // No value removes the key.
  virtual void set(const std::string& key, std::optional<DefaultsValue> value) = 0;
  // Waits until everything set so far is on disk, or until it is clear that it cannot be; then the reason.
  virtual std::optional<FileError> synchronize() = 0;
  // Calls `changed` on the queue after somebody else changed the stored values. One observer.
  [[nodiscard]] virtual CancelToken observe(Queue& queue, Task changed) = 0;
  // Looks for a change that nothing told of (network homes tell of none); returns at once and costs so little
  // that it may be called every second.
  virtual void checkForChanges() {}
};

// The user's preferences on this machine. Files are touched only on `queue`, which must not be the caller's
// and must run until the object is gone.
std::unique_ptr<UserDefaults> makeUserDefaults(const Directories& directories, WriteGate mayWrite,
                                               Queue& queue);

}  // namespace vigilo
