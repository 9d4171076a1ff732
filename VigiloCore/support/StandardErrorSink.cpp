#include "support/StandardErrorSink.h"

#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace vigilo {

void StandardErrorSink::write(LogLevel level, std::string_view /*subsystem*/, std::string_view category,
                              std::string_view message) noexcept {
  static constexpr const char* names[] = {"debug", "info", "error"};
  timeval now{};
  ::gettimeofday(&now, nullptr);
  tm local{};
  ::localtime_r(&now.tv_sec, &local);
  char head[96];
  const int length =
      std::snprintf(head, sizeof head, "%02d:%02d:%02d.%03d %-5s [%.*s] ", local.tm_hour, local.tm_min,
                    local.tm_sec, static_cast<int>(now.tv_usec / 1000), names[static_cast<int>(level)],
                    static_cast<int>(category.size()), category.data());
  char end = '\n';
  const iovec parts[] = {{head, static_cast<std::size_t>(length)},
                         {const_cast<char*>(message.data()), message.size()},
                         {&end, 1}};
  // A log line that cannot be written has nobody left to be told about.
  (void)!::writev(STDERR_FILENO, parts, 3);
}

}  // namespace vigilo
