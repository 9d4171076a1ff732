#pragma once

#include <memory>

#include "platform/KeyMonitor.h"
#include "platform/LidState.h"
#include "platform/PowerAssertions.h"
#include "platform/PowerSource.h"
#include "platform/ProcessTable.h"
#include "platform/RunningApplications.h"
#include "platform/SystemReport.h"
#include "platform/SystemSounds.h"
#include "platform/ThermalState.h"
#include "platform/UserNotifications.h"
#include "support/LogSink.h"

namespace vigilo {

// The machine's services as the host uses them, one object each. The helper opens only its own.
struct Platform {
  std::shared_ptr<PowerAssertions> powerAssertions;  // whoever holds some keeps it
  std::unique_ptr<PowerSourceProvider> powerSource;
  std::unique_ptr<ThermalStateProvider> thermalState;
  std::unique_ptr<LidStateProvider> lidState;
  std::unique_ptr<ProcessTable> processTable;
  std::unique_ptr<RunningApplications> runningApplications;
  std::unique_ptr<UserNotifications> userNotifications;
  std::unique_ptr<SystemSounds> systemSounds;
  std::unique_ptr<KeyMonitor> keyMonitor;
  std::unique_ptr<SystemReport> systemReport;

  static Platform ofThisMachine();
};

// The machine's log service, or standard error where there is none. `identifier` is the program's name in the
// log.
std::unique_ptr<LogSink> makeSystemLogSink(const char* identifier);
// Whether the machine has a log service now.
bool hasLogService();
// Whether what is written to the descriptor goes to the log service anyway.
bool isLogService(int descriptor);

}  // namespace vigilo
