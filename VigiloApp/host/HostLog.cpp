#include "VigiloApp/host/HostLog.h"

#include <unistd.h>

#include "platform/Platform.h"

namespace vigilo {

HostLog::HostLog(bool verbose, RecentLog& recent) : recent_(recent) {
  if (::isatty(STDERR_FILENO) == 1 || (verbose && !isLogService(STDERR_FILENO)))
    standardError_ = std::make_unique<StandardErrorSink>(verbose ? LogLevel::debug : LogLevel::error);
  if (standardError_ == nullptr || hasLogService()) system_ = makeSystemLogSink("vigilo");
  installLogSink(this);
}

bool HostLog::accepts(LogLevel level) const noexcept {
  return level != LogLevel::debug || (standardError_ != nullptr && standardError_->accepts(level)) ||
         (system_ != nullptr && system_->accepts(level));
}

void HostLog::write(LogLevel level, std::string_view subsystem, std::string_view category,
                    std::string_view message) noexcept {
  recent_.note(Date::now(), level, category, message);
  for (LogSink* sink : {standardError_.get(), system_.get()}) {
    if (sink != nullptr && sink->accepts(level)) sink->write(level, subsystem, category, message);
  }
}

}  // namespace vigilo
