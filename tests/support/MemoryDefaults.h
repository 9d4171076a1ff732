#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "platform/UserDefaults.h"

namespace vigilo::test {

// User defaults that live in memory, for a test of one thread.
class MemoryDefaults final : public UserDefaults {
 public:
  std::optional<DefaultsValue> object(const std::string& key) const override {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  std::vector<std::string> keys() const override {
    std::vector<std::string> keys;
    for (const auto& [key, value] : values) keys.push_back(key);
    return keys;
  }
  void set(const std::string& key, std::optional<DefaultsValue> value) override {
    if (value)
      values.insert_or_assign(key, *value);
    else
      values.erase(key);
  }
  std::optional<FileError> synchronize() override { return std::nullopt; }
  // Nobody else writes here.
  CancelToken observe(Queue&, Task) override { return nullptr; }

  std::map<std::string, DefaultsValue> values;
};

}  // namespace vigilo::test
