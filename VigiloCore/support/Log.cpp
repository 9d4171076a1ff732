#include "support/Log.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace vigilo {
namespace {

std::atomic<LogSink*> installedSink{nullptr};

// Texts come from clients and files too: one that holds a line break must not pass for a line of its own.
void appendOnOneLine(std::string& line, std::string_view text) {
  for (const char byte : text) {
    const auto value = static_cast<unsigned char>(byte);
    line += value < 0x20 || value == 0x7F ? '?' : byte;
  }
}

// Prints one conversion; `flags` is what stands between '%' and the conversion letter.
void appendConversion(std::string& line, std::string flags, char conversion, const LogArgument& argument) {
  char text[400];
  switch (argument.kind) {
    case LogArgument::Kind::text:
      appendOnOneLine(line, argument.text);
      return;
    case LogArgument::Kind::boolean:
      line += argument.integer != 0 ? "true" : "false";
      return;
    case LogArgument::Kind::integer:
      std::erase(flags, 'l');
      std::erase(flags, 'z');
      std::snprintf(text, sizeof text, ("%" + flags + "ll" + conversion).c_str(),
                    static_cast<long long>(argument.integer));
      break;
    case LogArgument::Kind::floating:
      std::snprintf(text, sizeof text, ("%" + flags + conversion).c_str(), argument.floating);
      break;
  }
  line += text;
}

}  // namespace

LogSink* installLogSink(LogSink* sink) {
  return installedSink.exchange(sink);
}

LogSink* currentLogSink() {
  return installedSink.load(std::memory_order_acquire);
}

void Log::write(LogSink& sink, LogLevel level, const char* format,
                std::initializer_list<LogArgument> arguments) const {
  std::string line;
  auto next = arguments.begin();
  for (const char* at = format; *at != 0; ++at) {
    if (*at != '%') {
      line += *at;
    } else if (*++at == '%') {
      line += '%';
    } else {
      std::string flags;
      if (*at == '{') at += sizeof "{bool}" - 1;
      for (; (*at >= '0' && *at <= '9') || *at == '.' || *at == 'l' || *at == 'z'; ++at) flags += *at;
      appendConversion(line, flags, *at, *next++);
    }
  }
  sink.write(level, subsystem_, category_, line);
}

void fatal(std::string_view message) {
  Log("com.vigilo", "fatal").error("%s", message);
  std::fprintf(stderr, "vigilo: fatal: %.*s\n", static_cast<int>(message.size()), message.data());
  std::abort();
}

}  // namespace vigilo
