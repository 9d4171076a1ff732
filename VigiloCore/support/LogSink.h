#pragma once

#include <string_view>

namespace vigilo {

enum class LogLevel { debug, info, error };

// Where log lines go: the journal, standard error, or memory in tests. Thread-safe: any thread may log.
class LogSink {
 public:
  virtual ~LogSink() = default;
  // Whether a line of this level would be written; a line that would not be is never formatted.
  virtual bool accepts(LogLevel level) const noexcept = 0;
  virtual void write(LogLevel level, std::string_view subsystem, std::string_view category,
                     std::string_view message) noexcept = 0;
};

// Installs the process's sink and returns the one before. `main` calls it once, before other threads run; the
// sink must outlive every thread that logs. Without a sink nothing is written.
LogSink* installLogSink(LogSink* sink);
LogSink* currentLogSink();

}  // namespace vigilo
