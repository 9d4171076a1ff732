#pragma once

#include <functional>
#include <list>
#include <memory>
#include <utility>

#include "support/Mutex.h"

namespace vigilo {

// A list of observers without values: `announce` calls each of them on the announcing thread, with no lock
// held. Thread-safe. A subscription ends with its token; a call that is running on another thread may still
// finish.
class Announcer {
 public:
  using Observer = std::function<void()>;

  // Keep the token for as long as the observer is to be called; it may outlive the announcer.
  [[nodiscard]] std::shared_ptr<void> subscribe(Observer observer) {
    auto entry = std::make_shared<Observer>(std::move(observer));
    const LockGuard guard(mutex_);
    observers_.push_back(entry);
    return entry;
  }

  void announce() {
    std::list<std::shared_ptr<Observer>> living;
    {
      const LockGuard guard(mutex_);
      for (auto at = observers_.begin(); at != observers_.end();) {
        if (auto observer = at->lock()) {
          living.push_back(std::move(observer));
          ++at;
        } else {
          at = observers_.erase(at);
        }
      }
    }
    for (const auto& observer : living) (*observer)();
  }

 private:
  Mutex mutex_;
  std::list<std::weak_ptr<Observer>> observers_ VIGILO_GUARDED_BY(mutex_);
};

// A published value: observers are told before it changes. Not thread-safe: its owner's queue guards it.
template <class T>
class Published {
 public:
  explicit Published(T initial) : value_(std::move(initial)) {}
  const T& get() const { return value_; }
  void set(T value) {
    willChange_.announce();
    value_ = std::move(value);
  }
  [[nodiscard]] std::shared_ptr<void> onWillChange(Announcer::Observer observer) {
    return willChange_.subscribe(std::move(observer));
  }

 private:
  T value_;
  Announcer willChange_;
};

}  // namespace vigilo
