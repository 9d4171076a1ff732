// How fast, and in how much memory, a backlog of Claude Code's project logs is read. Run without arguments:
// it writes 500 MB of logs to the temporary folder, measures and removes them.
//
//   backlog   the whole first poll, from the folder to the events, store aside
//   plain     a bare simdjson on-demand loop over the same lines: read in blocks, find type and message.usage
//   idle      a poll that finds nothing new over 400 files

#include <fcntl.h>
#include <simdjson.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "support/NewestLogFiles.h"
#include "support/UniqueFd.h"
#include "usage/ClaudeProjectLogs.h"

namespace vigilo {
namespace {

constexpr std::size_t backlogSize = 500'000'000;
constexpr int rounds = 5;

// Text as agents log it: words, code, escapes and some letters beyond ASCII.
std::string prose(std::mt19937& random, std::size_t length) {
  static constexpr const char* words[] = {"the ",      "const auto& ", "file\\n", "=> ",        "{ ",
                                          "}\\n",      "\\\"",         "error: ", "\\t\\t",     "Größe ",
                                          "→ ",        "return ",      "0x1f ",   "/src/main ", "\\u001b[0m",
                                          "function ", "test ",        "123 "};
  std::string text;
  while (text.size() < length) text += words[random() % std::size(words)];
  return text;
}

std::string tail(const char* type, int number) {
  return std::string(R"("type":")") + type + R"(","uuid":"872e22b9-b02e-4443-8e85-)" +
         std::to_string(number) +
         R"(","timestamp":"2026-11-21T06:58:23.020Z","userType":"external","entrypoint":"cli",)"
         R"("cwd":"/Users/me/proj","sessionId":"c353b3b5-2d00-4904-8d43-cf583e4ec8c1","version":"2.1.329",)"
         R"("gitBranch":"HEAD"})"
         "\n";
}

std::string answer(std::mt19937& random, int number, const std::string& block) {
  return R"({"parentUuid":"872e22b9-b02e-4443-8e85-9a276735482d","isSidechain":false,"message":{"id":"msg_)" +
         std::to_string(number / 3) +
         R"(","type":"message","role":"assistant","model":"claude-opus-5-5","content":[)" + block +
         R"(],"stop_reason":"tool_use","stop_sequence":null,"usage":{"input_tokens":)" +
         std::to_string(random() % 5000) +
         R"(,"cache_creation_input_tokens":300,"cache_read_input_tokens":80000,"output_tokens":45,)"
         R"("output_tokens_details":{"thinking_tokens":12},"server_tool_use":{"web_search_requests":0},)"
         R"("service_tier":"standard","cache_creation":{"ephemeral_5m_input_tokens":300}}},"apiBlockIndex":0,)" +
         tail("assistant", number);
}

// One step of a conversation after real logs: three lines of an answer, the tool's result, and what the agent
// keeps for itself.
std::string step(std::mt19937& random, int number) {
  std::string text;
  text +=
      answer(random, number, R"({"type":"thinking","thinking":")" + prose(random, random() % 1500) + "\"}");
  text += answer(random, number + 1, R"({"type":"text","text":")" + prose(random, random() % 800) + "\"}");
  text += answer(random, number + 2,
                 R"({"type":"tool_use","id":"toolu_43e0","name":"Edit","input":{"new_string":")" +
                     prose(random, random() % 3000) + "\"}}");
  const std::string result = prose(random, 200 + random() % 12000);
  text += R"({"parentUuid":"789b","message":{"role":"user","content":[{"tool_use_id":"toolu_43e0",)"
          R"("type":"tool_result","content":")" +
          result + R"("}]},"toolUseResult":{"stdout":")" + result + R"(","stderr":""},)" +
          tail("user", number);
  text += R"({"parentUuid":"c6ea","attachment":{"type":"context","content":")" +
          prose(random, random() % 9000) + R"("},)" + tail("attachment", number);
  text += R"({"type":"api-request","params":{"tools":[1,2,3],"text":")" + prose(random, 500) + R"("},)" +
          tail("request", number);
  return text;
}

void writeBacklog(const std::string& folder) {
  std::mt19937 random(1);
  int number = 0;
  for (int file = 0; file < 5; ++file) {
    std::ofstream out(folder + "/" + std::to_string(file) + ".jsonl", std::ios::binary);
    for (std::size_t written = 0; written < backlogSize / 5; number += 3) {
      const std::string text = step(random, number);
      out << text;
      written += text.size();
    }
  }
}

std::size_t plainLine(simdjson::ondemand::parser& parser, const char* text, std::size_t size) {
  simdjson::ondemand::document document;
  std::string_view type;
  std::int64_t tokens = 0;
  if (parser.iterate(text, size, size + simdjson::SIMDJSON_PADDING).get(document)) return 0;
  if (document["type"].get_string().get(type) || type != "assistant") return 0;
  if (document["message"]["usage"]["input_tokens"].get_int64().get(tokens)) return 0;
  return 1;
}

// Counts the lines with usage.
std::size_t plainLoop(const std::string& folder) {
  simdjson::ondemand::parser parser;
  std::size_t found = 0;
  std::vector<char> buffer((std::size_t{1} << 20) + simdjson::SIMDJSON_PADDING);
  const std::size_t capacity = buffer.size() - simdjson::SIMDJSON_PADDING;
  for (const auto& file : newestLogFiles(folder, 5)) {
    const UniqueFd fd(::open(file.path.c_str(), O_RDONLY | O_CLOEXEC));
    std::size_t used = 0;
    for (ssize_t count = 0; (count = ::read(fd.get(), buffer.data() + used, capacity - used)) > 0;) {
      used += static_cast<std::size_t>(count);
      const char* start = buffer.data();
      const char* const end = start + used;
      while (const void* feed = std::memchr(start, '\n', static_cast<std::size_t>(end - start))) {
        const char* const stop = static_cast<const char*>(feed);
        found += plainLine(parser, start, static_cast<std::size_t>(stop - start));
        start = stop + 1;
      }
      used = static_cast<std::size_t>(end - start);
      std::memmove(buffer.data(), start, used);
    }
  }
  return found;
}

// Of the processor, in the program and in the kernel: what else the machine does counts as little as it can.
double processorSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

template <class Work>
double seconds(Work work) {
  const double start = processorSeconds();
  work();
  return processorSeconds() - start;
}

double peakMegabytes() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

void measureBacklog(const std::string& folder) {
  writeBacklog(folder);
  const double before = peakMegabytes();
  double own = 1e9;
  double plain = 1e9;
  std::size_t events = 0;
  std::size_t plainEvents = 0;
  double peak = 0;
  for (int round = 0; round < rounds; ++round) {
    own = std::min(own, seconds([&] {
                     events = 0;
                     claudeProjectLogs({folder})->readNew(Date::now(), [&](const UsageEvent&) { ++events; });
                   }));
    if (round == 0) peak = peakMegabytes();
    plain = std::min(plain, seconds([&] { plainEvents = plainLoop(folder); }));
  }
  const double size = static_cast<double>(backlogSize) / 1e9;
  std::printf("backlog %.2f GB/s, %zu events, peak memory %.1f MB (%.1f MB before)\n", size / own, events,
              peak, before);
  std::printf("plain   %.2f GB/s, %zu lines\n", size / plain, plainEvents);
  std::printf("ratio   %.2f\n", plain / own);
  std::vector<UsageEvent> batch;
  claudeProjectLogs({folder})->readNew(Date::now(),
                                       [&](UsageEvent event) { batch.push_back(std::move(event)); });
  std::printf("batch   %zu events kept, peak memory %.1f MB\n", batch.size(), peakMegabytes());
}

void measureIdlePoll(const std::string& folder, int files) {
  for (int i = 0; i < files; ++i) {
    const std::string project = folder + "/-Users-me-project" + std::to_string(i / 20);
    std::filesystem::create_directories(project);
    std::ofstream(project + "/" + std::to_string(i) + ".jsonl") << "{}\n";
  }
  const auto logs = claudeProjectLogs({folder});
  const auto ignore = [](const UsageEvent&) {};
  logs->readNew(Date::now(), ignore);
  std::vector<double> times;
  for (int i = 0; i < 200; ++i) times.push_back(seconds([&] { logs->readNew(Date::now(), ignore); }));
  std::ranges::sort(times);
  std::printf("idle    %.3f ms median, %.3f ms at 95 %%, %d files in %d folders\n", times[100] * 1e3,
              times[190] * 1e3, files, files / 20);
}

}  // namespace
}  // namespace vigilo

int main() {
  std::string folder = (std::filesystem::temp_directory_path() / "usage-bench.XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) return 1;
  std::filesystem::create_directories(folder + "/backlog");
  vigilo::measureBacklog(folder + "/backlog");
  vigilo::measureIdlePoll(folder + "/idle", 400);
  vigilo::measureIdlePoll(folder + "/many", 10000);
  std::filesystem::remove_all(folder);
  return 0;
}
