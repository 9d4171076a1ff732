#pragma once

#include <memory>

#include "VigiloApp/control/RecentLog.h"
#include "support/LogSink.h"
#include "support/StandardErrorSink.h"

namespace vigilo {

// Where the host's log lines go: to the machine's log service; and on a terminal to the terminal as well,
// errors only unless `verbose`. `recent` hears of every line and keeps what is of interest; it must outlive
// this. Thread-safe.
class HostLog final : public LogSink {
 public:
  HostLog(bool verbose, RecentLog& recent);

  bool accepts(LogLevel level) const noexcept override;
  void write(LogLevel level, std::string_view subsystem, std::string_view category,
             std::string_view message) noexcept override;

 private:
  RecentLog& recent_;
  std::unique_ptr<LogSink> terminal_;  // null when standard error is no terminal
  std::unique_ptr<LogSink> system_;    // null on a terminal without a log service: one line is enough
};

}  // namespace vigilo
