#include "platform/linux/JournalSink.h"

#define SD_JOURNAL_SUPPRESS_LOCATION
#include <sys/stat.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "platform/Platform.h"

namespace vigilo {

JournalSink::JournalSink(std::string identifier, std::string socket)
    : identifier_(std::move(identifier)), socket_(std::move(socket)) {}

bool JournalSink::accepts(LogLevel level) const noexcept {
  return hasJournal() || standardError_.accepts(level);
}

// Sending cannot tell: it succeeds without a journal, too.
bool JournalSink::hasJournal() const noexcept {
  const auto now = Steady::now();
  if (now >= nextLook_.load()) {
    nextLook_ = now + std::chrono::minutes(1);
    hasJournal_ = ::access(socket_.c_str(), F_OK) == 0;
  }
  return hasJournal_;
}

void JournalSink::write(LogLevel level, std::string_view subsystem, std::string_view category,
                        std::string_view message) noexcept {
  if (!hasJournal()) {
    standardError_.write(level, subsystem, category, message);
    return;
  }
  static constexpr int priorities[] = {7, 6, 3};  // debug, info, error
  const auto length = [](std::string_view text) { return static_cast<int>(text.size()); };
  // A line that the journal refuses has nobody left to be told about.
  (void)sd_journal_send("MESSAGE=%.*s", length(message), message.data(), "PRIORITY=%i",
                        priorities[static_cast<int>(level)], "SYSLOG_IDENTIFIER=%s", identifier_.c_str(),
                        "VIGILO_SUBSYSTEM=%.*s", length(subsystem), subsystem.data(), "VIGILO_CATEGORY=%.*s",
                        length(category), category.data(), nullptr);
}

bool hasLogService() {
  return ::access(JournalSink::journalSocket, F_OK) == 0;
}

bool isLogService(int descriptor) {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  if (stream == nullptr || ::fstat(descriptor, &status) != 0) return false;
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

std::unique_ptr<LogSink> makeSystemLogSink(const char* identifier) {
  return std::make_unique<JournalSink>(identifier);
}

}  // namespace vigilo
