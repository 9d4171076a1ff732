// What the usage store costs, on this machine's temporary folder:
//   usage_store_bench record [events]     one more event against a plain write-and-rename of the same bytes
//   usage_store_bench write [events]      bytes written for each further event, over a day of bursts
//   usage_store_bench load [megabytes]    time and memory of a process that loads a store of that size

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/AtomicFile.h"
#include "tests/support/TempFolder.h"
#include "usage/UsageStore.h"

namespace {

using namespace vigilo;
using Stopwatch = std::chrono::steady_clock;

double millisecondsSince(Stopwatch::time_point start) {
  return std::chrono::duration<double, std::milli>(Stopwatch::now() - start).count();
}

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

bool anywhere(const std::string&) {
  return true;
}

UsageEvent event(int number) {
  const std::string text = std::to_string(number);
  return UsageEvent::make(
      {.id = "5f0c1c1e-6f0e-4b3a-9a53-" + std::string(12 - text.size(), '0') + text,
       .agentType = AgentType::claude,
       .sessionId = "0d9e1f6a-3f27-4b52-8c1d-0000000" + std::to_string(10000 + number / 50),
       .turnId = "msg_01XyZAbCdEfGhIjK" + text,
       .modelId = "claude-3-5-sonnet-20241022",
       .inputTokens = number % 9000,
       .outputTokens = number % 700,
       .cachedTokens = 150000 + number % 5000,
       .cacheWriteTokens = number % 300,
       .contextWindow = 200000,
       .costEstimateUSD = 0.0001 * (number % 977),
       .timestamp = Date::fromUnix(1763000000.25 + 7.0 * number),
       .source = "claude-project-log"});
}

std::vector<UsageEvent> events(int first, int count) {
  std::vector<UsageEvent> list;
  for (int i = 0; i < count; ++i) list.push_back(event(first + i));
  return list;
}

// The least that any atomic save can cost.
void writeAndRename(const std::string& path, std::string_view bytes) {
  const std::string temporary = path + ".new";
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  while (!bytes.empty()) {
    const ssize_t count = ::write(fd, bytes.data(), bytes.size());
    if (count <= 0) std::abort();
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  ::close(fd);
  if (std::rename(temporary.c_str(), path.c_str()) != 0) std::abort();
}

int benchRecord(int stored) {
  constexpr int rounds = 101;
  const test::TempFolder home;
  UsageStore store(Directories::below(home.path()), anywhere, Date::now);
  store.record(events(0, stored));
  std::vector<double> recording;
  std::vector<double> plain;
  std::string bytes;
  const auto measureRecording = [&](int round) {
    UsageEvent next = event(stored + round);
    const auto start = Stopwatch::now();
    store.record(std::move(next));
    recording.push_back(millisecondsSince(start));
  };
  const auto measurePlain = [&] {
    const auto start = Stopwatch::now();
    writeAndRename(home.path("plain"), bytes);
    plain.push_back(millisecondsSince(start));
  };
  // In turns, and each as often the first: the disk still works on the one before.
  for (int round = 0; round < rounds; ++round) {
    bytes = *readFile(store.storeFilePath(), std::size_t{1} << 32);
    if (round % 2 == 1) measurePlain();
    measureRecording(round);
    if (round % 2 == 0) measurePlain();
  }
  std::printf(
      "%d events, %.1f MB: record %.3f ms, plain write-and-rename %.3f ms, ratio %.2f (medians of %d)\n",
      stored, static_cast<double>(std::filesystem::file_size(store.storeFilePath())) / 1e6, median(recording),
      median(plain), median(recording) / median(plain), rounds);
  return median(recording) <= 1.5 * median(plain) ? 0 : 1;
}

// What this process has handed to write calls so far, whether or not it has reached a disk yet.
double bytesWritten() {
  std::ifstream io("/proc/self/io");
  for (std::string line; std::getline(io, line);) {
    if (line.starts_with("wchar:")) return std::stod(line.substr(6));
  }
  return 0;
}

// A day of work: bursts of turns, of which each poll finds one to five.
int benchWrite(int stored) {
  constexpr int eventsADay = 2000;
  constexpr double bar = 64 << 10;
  const test::TempFolder home;
  UsageStore store(Directories::below(home.path()), anywhere, Date::now);
  store.record(events(0, stored));
  const double before = bytesWritten();
  for (int done = 0, batch = 1; done < eventsADay; done += batch, batch = batch % 5 + 1) {
    store.record(events(stored + done, batch));
  }
  const double each = (bytesWritten() - before) / eventsADay;
  std::printf("%d events, %.1f MB: %.0f bytes written for each of %d more, bar %.0f\n", stored,
              static_cast<double>(std::filesystem::file_size(store.storeFilePath())) / 1e6, each, eventsADay,
              bar);
  return each < bar ? 0 : 1;
}

double residentMegabytes(const char* field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field)) return std::stod(line.substr(line.find(':') + 1)) * 1024 / 1e6;
  }
  return 0;
}

// Runs in a process of its own, so that memory of the preparation does not count.
[[noreturn]] void loadAndReport(const std::string& home, double fileMegabytes) {
  UsageStore store(Directories::below(home), anywhere, Date::now);
  auto start = Stopwatch::now();
  store.load();
  const double loading = millisecondsSince(start);
  start = Stopwatch::now();
  const auto all = store.summary({-1e12}, {1e12});
  const double summing = millisecondsSince(start);
  start = Stopwatch::now();
  store.record(event(-1));
  const double recording = millisecondsSince(start);
  const double peak = residentMegabytes("VmHWM");
  std::printf(
      "%.1f MB, %lld events: load %.0f ms, summary of all %.1f ms, record %.1f ms; "
      "resident %.1f MB, peak %.1f MB, bar %.1f MB\n",
      fileMegabytes, static_cast<long long>(all.turnCount), loading, summing, recording,
      residentMegabytes("VmRSS"), peak, 14 + 2.5 * fileMegabytes);
  std::fflush(stdout);
  ::_exit(peak <= 14 + 2.5 * fileMegabytes ? 0 : 1);
}

int benchLoad(int megabytes) {
  const test::TempFolder home;
  std::string path;
  {
    UsageStore store(Directories::below(home.path()), anywhere, Date::now);
    store.record(events(0, megabytes * 2000));  // some 500 bytes an event
    path = store.storeFilePath();
  }
  const double size = static_cast<double>(std::filesystem::file_size(path)) / 1e6;
  // A fresh image, not a fork: what the preparation allocated is not shared.
  ::setenv("HOME", home.path().c_str(), 1);
  const std::string command = "/proc/" + std::to_string(::getpid()) + "/exe report " + std::to_string(size);
  return std::system(command.c_str()) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view mode = argc > 1 ? argv[1] : "record";
  const auto number = [&](int otherwise) { return argc > 2 ? std::atoi(argv[2]) : otherwise; };
  if (mode == "record") return benchRecord(number(10000));
  if (mode == "write") return benchWrite(number(250000));
  if (mode == "load") return benchLoad(number(100));
  if (mode == "report") loadAndReport(std::getenv("HOME"), std::atof(argv[2]));
  std::fprintf(stderr, "usage: usage_store_bench record [events] | write [events] | load [megabytes]\n");
  return 2;
}
