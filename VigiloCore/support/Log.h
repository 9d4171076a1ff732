#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

#include "support/LogSink.h"

namespace vigilo {

// One argument of a log line, without its type's template.
struct LogArgument {
  enum class Kind { boolean, integer, floating, text };
  Kind kind;
  std::int64_t integer = 0;
  double floating = 0;
  std::string_view text;

  LogArgument(bool value) : kind(Kind::boolean), integer(value) {}
  template <std::integral T>
  LogArgument(T value) : kind(Kind::integer), integer(static_cast<std::int64_t>(value)) {}
  template <std::floating_point T>
  LogArgument(T value) : kind(Kind::floating), floating(static_cast<double>(value)) {}
  LogArgument(std::string_view value) : kind(Kind::text), text(value) {}
  LogArgument(const std::string& value) : kind(Kind::text), text(value) {}
  LogArgument(const char* value) : kind(Kind::text), text(value) {}
};

// A printf-style format, checked against its arguments at compile time. Conversions: %s for text, whose
// control characters print as "?", %d %u %x with any length modifier for integers, %f %g with an optional
// precision, %{bool}d for a boolean ("true", "false"), %%.
template <class... Arguments>
struct LogFormat {
  consteval LogFormat(const char* format) : text(format) {
    constexpr LogArgument::Kind kinds[] = {kindOf<Arguments>()..., LogArgument::Kind::text};
    std::size_t used = 0;
    for (const char* at = format; *at != 0; ++at) {
      if (*at != '%') continue;
      if (*++at == '%') continue;
      auto expected = LogArgument::Kind::integer;
      if (*at == '{') {
        for (const char* name = "{bool}"; *name != 0; ++name, ++at) {
          if (*at != *name) throw "unknown annotation: only %{bool}d is known";
        }
        expected = LogArgument::Kind::boolean;
      }
      while ((*at >= '0' && *at <= '9') || *at == '.' || *at == 'l' || *at == 'z') ++at;
      if (*at == 's')
        expected = LogArgument::Kind::text;
      else if (*at == 'f' || *at == 'g')
        expected = LogArgument::Kind::floating;
      else if (*at != 'd' && *at != 'u' && *at != 'x')
        throw "unknown conversion";
      if (used >= sizeof...(Arguments)) throw "more conversions than arguments";
      if (kinds[used] != expected) throw "an argument does not fit its conversion";
      ++used;
    }
    if (used != sizeof...(Arguments)) throw "more arguments than conversions";
  }

  const char* text;

 private:
  template <class T>
  static consteval LogArgument::Kind kindOf() {
    using Plain = std::remove_cvref_t<T>;
    if constexpr (std::is_same_v<Plain, bool>)
      return LogArgument::Kind::boolean;
    else if constexpr (std::is_integral_v<Plain>)
      return LogArgument::Kind::integer;
    else if constexpr (std::is_floating_point_v<Plain>)
      return LogArgument::Kind::floating;
    else
      return LogArgument::Kind::text;
  }
};

// A handle on the log for one component: `const Log log{"com.vigilo.app", "hooks"}; log.info("started on %s",
// path);` Thread-safe; cheap to copy. Both names must be literals.
class Log {
 public:
  constexpr Log(const char* subsystem, const char* category) : subsystem_(subsystem), category_(category) {}

  template <class... A>
  void debug(LogFormat<std::type_identity_t<A>...> format, const A&... arguments) const {
    line(LogLevel::debug, format.text, arguments...);
  }
  template <class... A>
  void info(LogFormat<std::type_identity_t<A>...> format, const A&... arguments) const {
    line(LogLevel::info, format.text, arguments...);
  }
  template <class... A>
  void error(LogFormat<std::type_identity_t<A>...> format, const A&... arguments) const {
    line(LogLevel::error, format.text, arguments...);
  }

 private:
  template <class... A>
  void line(LogLevel level, const char* format, const A&... arguments) const {
    LogSink* sink = currentLogSink();
    if (sink != nullptr && sink->accepts(level)) write(*sink, level, format, {LogArgument(arguments)...});
  }
  void write(LogSink& sink, LogLevel level, const char* format,
             std::initializer_list<LogArgument> arguments) const;

  const char* subsystem_;
  const char* category_;
};

// Tells the beginning and the end of a failure that repeats, so that the same error is not written once a
// second for hours. Not thread-safe: its owner's lock or queue guards it.
class FailureEpisode {
 public:
  // True when this failure differs from the last report: write it.
  bool begins(std::string_view reason) {
    if (failing_ && reason == reason_) return false;
    failing_ = true;
    reason_ = reason;
    return true;
  }
  // True when a failure has just ended.
  bool ends() {
    const bool was = failing_;
    failing_ = false;
    return was;
  }

 private:
  bool failing_ = false;
  std::string reason_;
};

// A broken precondition: writes the message to the log and to standard error, and aborts. Bytes from a socket
// or a file never lead here.
[[noreturn]] void fatal(std::string_view message);

}  // namespace vigilo
