#pragma once

#include "support/LogSink.h"

namespace vigilo {

// Writes one line per message to standard error: "12:00:01.250 error   [lease] message", in local time. Each
// line is a single write. Thread-safe.
class StandardErrorSink final : public LogSink {
 public:
  explicit StandardErrorSink(LogLevel least) : least_(least) {}
  bool accepts(LogLevel level) const noexcept override { return level >= least_; }
  void write(LogLevel level, std::string_view subsystem, std::string_view category,
             std::string_view message) noexcept override;

 private:
  const LogLevel least_;
};

}  // namespace vigilo
