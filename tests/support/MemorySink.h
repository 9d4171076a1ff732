#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "support/LogSink.h"

namespace vigilo::test {

// Installs itself for its lifetime and keeps whole lines, "error [lease] message". Thread-safe.
class MemorySink final : public LogSink {
 public:
  MemorySink() : before_(installLogSink(this)) {}
  ~MemorySink() override { installLogSink(before_); }

  bool accepts(LogLevel) const noexcept override { return true; }
  void write(LogLevel level, std::string_view, std::string_view category,
             std::string_view message) noexcept override {
    static constexpr const char* names[] = {"debug", "info", "error"};
    const std::lock_guard guard(mutex_);
    lines_.push_back(std::string(names[static_cast<int>(level)]) + " [" + std::string(category) + "] " +
                     std::string(message));
  }

  // The lines so far, which are forgotten with this.
  std::vector<std::string> take() {
    const std::lock_guard guard(mutex_);
    return std::exchange(lines_, {});
  }

 private:
  LogSink* const before_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace vigilo::test
