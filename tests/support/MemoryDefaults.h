#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "platform/UserDefaults.h"

namespace vigilo::test {

// User defaults that live in memory, for a test of one thread. `changeFromOutside` is somebody else's write.
class MemoryDefaults final : public UserDefaults {
 public:
  std::optional<DefaultsValue> object(const std::string& key) const override {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void set(const std::string& key, std::optional<DefaultsValue> value) override {
    if (value)
      values.insert_or_assign(key, *value);
    else
      values.erase(key);
  }
  std::optional<FileError> synchronize() override { return std::nullopt; }
  CancelToken observe(Queue& queue, Task changed) override {
    struct Token final : Cancellable {
      explicit Token(MemoryDefaults& owner) : defaults(owner) {}
      ~Token() override { defaults.announce_ = nullptr; }
      MemoryDefaults& defaults;
    };
    announce_ = [&queue, changed = std::move(changed)] { queue.async(changed); };
    return std::make_unique<Token>(*this);
  }

  void changeFromOutside(const std::string& key, DefaultsValue value) {
    set(key, std::move(value));
    if (announce_) announce_();
  }

  std::map<std::string, DefaultsValue> values;

 private:
  Task announce_;
};

}  // namespace vigilo::test
