#pragma once

#include <map>
#include <string>

#include "platform/UserDefaults.h"

namespace vigilo::test {

// User defaults that nobody else sees and that are gone with the object. Not thread-safe.
class MemoryDefaults final : public UserDefaults {
 public:
  std::optional<DefaultsValue> object(const std::string& key) const override {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void set(const std::string& key, std::optional<DefaultsValue> value) override {
    if (value) values.insert_or_assign(key, *std::move(value));
    else values.erase(key);
  }
  std::optional<FileError> synchronize() override { return std::nullopt; }
  CancelToken observe(Queue&, Task) override { return nullptr; }

  std::map<std::string, DefaultsValue> values;
};

}  // namespace vigilo::test
