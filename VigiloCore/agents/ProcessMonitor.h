#pragma once

#include <functional>
#include <string>
#include <vector>

#include "agents/AgentLogWatch.h"
#include "agents/ProcessMatch.h"
#include "platform/Directories.h"
#include "platform/ProcessTable.h"
#include "platform/RunningApplications.h"
#include "support/Mutex.h"
#include "support/Queue.h"

namespace vigilo {

// Finds agents that send no hook events, or that run outside their hooks, by what runs on the machine. Each
// scan yields the complete list of matches: Antigravity, whose transcripts tell whether it works; the editors
// Cursor and Windsurf, which never count as working; then the command-line agents in the process table.
//
// Scans run on the monitor's own queue, which may block for as long as a folder or a tool hangs: nothing else
// waits for it. Any thread may call start, stop and onProcessesUpdated; poll and scanProcesses belong to the
// queue. `queue` and the sources must outlive the monitor, and the monitor the last task on the queue.
class ProcessMonitor {
 public:
  static constexpr const char* queueLabel = "com.vigilo.processmonitor";
  using Callback = std::function<void(std::vector<ProcessMatch>)>;

  // Where the monitor looks; the table and the applications are asked on the queue only.
  struct Sources {
    Directories directories;  // where the agents' transcripts and logs lie
    ProcessTable& processes;
    RunningApplications& applications;
  };

  struct AntigravityState {
    bool isRunning = false;
    bool isWorking = false;
    bool isWaiting = false;
    std::string description;

    bool operator==(const AntigravityState&) const = default;
  };

  ProcessMonitor(Queue& queue, Clock clock, Sources sources);

  // Scans now and then every so many seconds; replaces an earlier start.
  void start(double intervalSeconds);
  // A scan that has begun may still call back.
  void stop();
  // Called on the queue, with no lock held, after each scan.
  void onProcessesUpdated(Callback callback);

  // One scan, which is handed to the callback.
  void poll();
  std::vector<ProcessMatch> scanProcesses();

  // Whether Antigravity is among the applications, and what its agents' newest transcripts below the home
  // folder say: working when one changed less than 30 s ago, waiting below 180 s.
  static AntigravityState checkAntigravityWorkingState(const std::vector<RunningApplication>& applications,
                                                       const std::string& home, Date now);

 private:
  void addAntigravity(std::vector<ProcessMatch>& matches, const std::vector<RunningApplication>& applications,
                      Date now) const;
  void addCommandLineAgents(std::vector<ProcessMatch>& matches, Date now);
  bool bareAgentWorks(const ProcessMatch& match, Date now);

  Queue& queue_;
  const Clock clock_;
  const Sources sources_;
  AgentLogWatch claudeLogs_;  // these two on the queue only
  AgentLogWatch geminiLogs_;
  Mutex mutex_;
  CancelToken timer_ VIGILO_GUARDED_BY(mutex_);
  Callback callback_ VIGILO_GUARDED_BY(mutex_);
};

}  // namespace vigilo
