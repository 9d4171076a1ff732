#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "support/Queue.h"
#include "support/RecordFields.h"

namespace vigilo {

// The system's thermal pressure, comparable in this order.
enum class SystemThermalState { nominal, fair, serious, critical };

template <>
struct RawValues<SystemThermalState> {
  static constexpr std::array table{std::pair{SystemThermalState::nominal, std::string_view("nominal")},
                                    std::pair{SystemThermalState::fair, std::string_view("fair")},
                                    std::pair{SystemThermalState::serious, std::string_view("serious")},
                                    std::pair{SystemThermalState::critical, std::string_view("critical")}};
};

// The platform's thermal state 0 to 3; any other value reads as nominal.
constexpr SystemThermalState fromProcessInfoThermalState(int state) {
  return state >= 0 && state <= 3 ? static_cast<SystemThermalState>(state) : SystemThermalState::nominal;
}

// Reads the thermal pressure and tells when it changes. Thread-safe.
class ThermalStateProvider {
 public:
  virtual ~ThermalStateProvider() = default;
  // 0 nominal to 3 critical.
  virtual int thermalState() = 0;
  // Calls `changed` on the queue after each change of `thermalState`. Null when it cannot.
  [[nodiscard]] virtual CancelToken observe(Queue& queue, Task changed) = 0;
  // For people, at start: where the state is read, or what is missing.
  virtual std::string description() const = 0;
};

std::unique_ptr<ThermalStateProvider> makeThermalStateProvider();

}  // namespace vigilo
