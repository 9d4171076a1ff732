#pragma once

#include <memory>

#include "VigiloApp/control/RecentLog.h"
#include "support/LogSink.h"
#include "support/StandardErrorSink.h"

namespace vigilo {

// Where the host's log lines go: to the machine's log service; and to standard error as well, errors only on
// a terminal, with `verbose` every line wherever it leads, except to the log service itself. `recent` hears
// of every line and keeps what is of interest; it must outlive this. Installed for its lifetime. Thread-safe.
class HostLog final : public LogSink {
 public:
  HostLog(bool verbose, RecentLog& recent);
  ~HostLog() override { installLogSink(nullptr); }

  bool accepts(LogLevel level) const noexcept override;
  void write(LogLevel level, std::string_view subsystem, std::string_view category,
             std::string_view message) noexcept override;

 private:
  RecentLog& recent_;
  std::unique_ptr<LogSink> standardError_;  // null where nobody reads it
  std::unique_ptr<LogSink> system_;         // null without a log service where standard error tells enough
};

}  // namespace vigilo
