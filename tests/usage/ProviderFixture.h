#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "platform/Directories.h"
#include "support/UniqueFd.h"
#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"
#include "tests/support/VirtualTime.h"
#include "usage/UsageProvider.h"

namespace vigilo::test {

// A home folder, a provider that reads below it in virtual time, and what it delivered.
template <class Provider>
class ProviderFixture : public ::testing::Test {
 protected:
  std::vector<UsageEvent> poll() { return provider.pollLatestEvents(); }
  UsageEvent pollOne() {
    auto events = poll();
    EXPECT_EQ(events.size(), 1u);
    return events.empty() ? UsageEvent{} : events.front();
  }
  ProviderBudgetReport report() { return provider.latestBudgetReport().value_or(ProviderBudgetReport{}); }

  // The files' times order them; one read twice within a tick of the clock would look unchanged.
  void setModified(const std::string& below, std::int64_t unixSeconds) {
    const timespec times[2] = {{unixSeconds, 0}, {unixSeconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, home.path(below).c_str(), times, 0), 0);
  }

  VirtualTime time;
  TempFolder home;
  MemorySink log;
  std::unique_ptr<Queue> queue = time.queue(Provider::queueLabel);
  Provider provider{Directories::below(home.path()), *queue, time.clock()};
};

inline std::vector<std::string> turns(const std::vector<UsageEvent>& events) {
  std::vector<std::string> result;
  for (const auto& event : events) result.push_back(event.turnId.value_or("-"));
  return result;
}

inline void append(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::app) << text;
}

// Names and bytes of all files below a folder.
inline std::map<std::string, std::string> contents(const std::string& folder) {
  std::map<std::string, std::string> result;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    result[entry.path().string()] = {std::istreambuf_iterator<char>(file), {}};
  }
  return result;
}

// The names of the files that anybody opened in a folder.
class OpenedFiles {
 public:
  explicit OpenedFiles(const std::string& folder) : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    ::inotify_add_watch(fd_.get(), folder.c_str(), IN_OPEN);
  }
  std::vector<std::string> take() {
    std::vector<std::string> names;
    alignas(inotify_event) char events[4096];
    const ssize_t size = ::read(fd_.get(), events, sizeof events);
    for (ssize_t at = 0; at < size;) {
      const auto* event = reinterpret_cast<const inotify_event*>(events + at);
      if (event->len > 0 && (event->mask & IN_ISDIR) == 0) names.emplace_back(event->name);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
    return names;
  }

 private:
  UniqueFd fd_;
};

}  // namespace vigilo::test
