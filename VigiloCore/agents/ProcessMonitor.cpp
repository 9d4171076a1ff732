#include "agents/ProcessMonitor.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "agents/AgentPlaces.h"
#include "agents/AntigravityTranscripts.h"
#include "agents/ProcessClassification.h"

namespace vigilo {
namespace {

// The process id of an Antigravity that runs under no process that could be named.
constexpr std::int32_t unknownAntigravityPid = 41443;

constexpr double workingAgeSeconds = 30;
constexpr double waitingAgeSeconds = 180;

// An agent that shows nothing but its name counts as working for so long after its last log line, or while a
// tool younger than this runs below it: what it started at its own start, such as tool servers, stays for
// days.
constexpr double freshLogSeconds = 180;
constexpr double youngChildSeconds = 15 * 60;

char lowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool containsAnyCase(const std::string& text, const std::string& lowerCaseWord) {
  const auto matches = [](char a, char b) { return lowerCase(a) == b; };
  return std::search(text.begin(), text.end(), lowerCaseWord.begin(), lowerCaseWord.end(), matches) !=
         text.end();
}

bool isNamed(const RunningApplication& application, const std::string& lowerCaseWord) {
  return containsAnyCase(application.localizedName, lowerCaseWord) ||
         containsAnyCase(application.bundleIdentifier, lowerCaseWord);
}

auto findAntigravity(const std::vector<RunningApplication>& applications) {
  return std::find_if(applications.begin(), applications.end(),
                      [](const auto& application) { return isNamed(application, "antigravity"); });
}

void addEditors(std::vector<ProcessMatch>& matches, const std::vector<RunningApplication>& applications) {
  for (const auto& application : applications) {
    if (application.localizedName.empty()) continue;
    const auto add = [&](AgentType agent, const char* command) {
      matches.push_back({.agent = agent,
                         .pid = application.pid,
                         .name = application.localizedName,
                         .isRunning = true,
                         .isWorking = false,
                         .command = command});
    };
    if (isNamed(application, "cursor"))
      add(AgentType::cursor, "Cursor IDE");
    else if (isNamed(application, "windsurf"))
      add(AgentType::windsurf, "Windsurf IDE");
  }
}

}  // namespace

ProcessMonitor::ProcessMonitor(Queue& queue, Clock clock, Sources sources)
    : queue_(queue),
      clock_(std::move(clock)),
      sources_(std::move(sources)),
      claudeLogs_(AgentPlaces::of(sources_.directories).claudeProjects),
      geminiLogs_(AgentPlaces::of(sources_.directories).geminiWork, "chats") {}

void ProcessMonitor::start(double intervalSeconds) {
  const auto interval = std::chrono::duration_cast<Duration>(std::chrono::duration<double>(intervalSeconds));
  auto timer = queue_.timer(Duration::zero(), interval, [this] { poll(); });
  const LockGuard guard(mutex_);
  std::swap(timer_, timer);
}

void ProcessMonitor::stop() {
  const LockGuard guard(mutex_);
  timer_.reset();
}

void ProcessMonitor::onProcessesUpdated(Callback callback) {
  const LockGuard guard(mutex_);
  callback_ = std::move(callback);
}

void ProcessMonitor::poll() {
  auto matches = scanProcesses();
  Callback callback;
  {
    const LockGuard guard(mutex_);
    callback = callback_;
  }
  if (callback) callback(std::move(matches));
}

std::vector<ProcessMatch> ProcessMonitor::scanProcesses() {
  const Date now = clock_();
  const auto applications = sources_.applications.list();
  std::vector<ProcessMatch> matches;
  addAntigravity(matches, applications, now);
  addEditors(matches, applications);
  addCommandLineAgents(matches, now);
  return matches;
}

ProcessMonitor::AntigravityState ProcessMonitor::checkAntigravityWorkingState(
    const std::vector<RunningApplication>& applications, const std::string& home, Date now) {
  if (findAntigravity(applications) == applications.end()) return {false, false, false, "Not running"};
  for (const Date changed : newestTranscriptChanges(home + "/.gemini/antigravity/brain")) {
    const double age = now - changed;
    if (age < workingAgeSeconds) return {true, true, false, "Antigravity Agent (Active)"};
    if (age < waitingAgeSeconds) return {true, false, true, "Antigravity IDE (Waiting)"};
  }
  return {true, false, false, "Antigravity IDE (Idle)"};
}

void ProcessMonitor::addAntigravity(std::vector<ProcessMatch>& matches,
                                    const std::vector<RunningApplication>& applications, Date now) const {
  auto state = checkAntigravityWorkingState(applications, sources_.directories.home, now);
  if (!state.isRunning) return;
  const auto application = findAntigravity(applications);
  matches.push_back({.agent = AgentType::antigravity,
                     .pid = application != applications.end() ? application->pid : unknownAntigravityPid,
                     .name = "Antigravity",
                     .isRunning = true,
                     .isWorking = state.isWorking,
                     .command = std::move(state.description)});
}

void ProcessMonitor::addCommandLineAgents(std::vector<ProcessMatch>& matches, Date now) {
  const auto lines = sources_.processes.read();
  if (!lines) return;
  for (const ProcessLine& line : *lines) {
    if (line.pid == ::getpid()) continue;
    auto match = classifyProcess(line);
    if (!match) continue;
    match->startedAt = sources_.processes.startedAt(line.pid);
    match->youngestChildStartedAt = sources_.processes.youngestChildStartedAt(line.pid);
    if (isBareAgent(line.command)) match->isWorking = bareAgentWorks(*match, now);
    matches.push_back(std::move(*match));
  }
}

bool ProcessMonitor::bareAgentWorks(const ProcessMatch& match, Date now) {
  const auto& child = match.youngestChildStartedAt;
  if (child && now - *child < youngChildSeconds) return true;
  AgentLogWatch& logs = match.agent == AgentType::claude ? claudeLogs_ : geminiLogs_;
  return logs.changedWithin(freshLogSeconds, now);
}

}  // namespace vigilo
