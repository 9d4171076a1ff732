#include "VigiloApp/commands/UsageCommands.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>

#include "VigiloApp/commands/ExportFile.h"
#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/TextTable.h"
#include "VigiloApp/commands/UsageText.h"
#include "VigiloApp/control/FetchReport.h"
#include "VigiloApp/host/FoldersInUse.h"
#include "VigiloApp/host/InstanceLock.h"
#include "VigiloApp/host/UsageAnswers.h"
#include "VigiloApp/host/UsageProviders.h"
#include "helper/VigiloWritePolicy.h"
#include "support/StandardErrorSink.h"

namespace vigilo {
namespace {

constexpr int lockPatienceMs = 3000;

// What a command without a host says about a store file that it cannot read goes to standard error.
class LogToStandardError {
 public:
  LogToStandardError() : before_(installLogSink(&sink_)) {}
  ~LogToStandardError() { installLogSink(before_); }

 private:
  StandardErrorSink sink_{LogLevel::error};
  LogSink* const before_;
};

// Answers from the store's file. Reading never writes: the gate refuses everything, so that an old or
// unreadable file stays as it is until a host deals with it. An unreadable one is no empty one.
ControlResponse answerWithoutHost(const Directories& directories,
                                  const std::function<ControlResponse(UsageStore&)>& answer) {
  UsageStore store(
      directories, [](const std::string&) { return false; }, Date::now);
  if (const auto reason = store.whyUnreadable()) {
    return {.exitCode = exitUnavailable,
            .message = store.storeFilePath() + " cannot be read: " + *reason +
                       ". It stays as it is; the next host that records usage keeps it beside the new one as "
                       "….unreadable."};
  }
  return answer(store);
}

// Asks the running host, or the store's file.
ControlResponse ask(const Directories& directories, const ControlRequest& request) {
  if (auto response = ControlClient(directories.controlSocket()).request(request))
    return *std::move(response);
  return answerWithoutHost(directories,
                           [&request](UsageStore& store) { return answerFromStore(request, store); });
}

// Shows a response by `show`, or what is wrong with it.
int finish(const ControlResponse& response, const std::function<bool(const ControlResponse&)>& show) {
  if (response.exitCode == exitOk && show(response)) return exitOk;
  return fail(response);
}

std::string period(const UsageOptions& options) {
  if (options.from.empty() && options.to.empty()) return "today";
  if (options.to.empty()) return "the time since " + options.from;
  if (options.from.empty()) return "the time until " + options.to;
  return options.from == options.to ? options.from : options.from + " to " + options.to;
}

// All sessions up to the limit: a host answers with as many as fit its message, and the rest is asked for.
std::optional<std::vector<SessionUsageRecord>> allSessions(const Directories& directories, long long limit,
                                                           ControlResponse& last) {
  std::vector<SessionUsageRecord> sessions;
  do {
    const auto have = static_cast<long long>(sessions.size());
    last =
        ask(directories, {.command = ControlCommand::usageSessions, .limit = limit - have, .offset = have});
    if (!last.usageSessions) return std::nullopt;
    sessions.insert(sessions.end(), last.usageSessions->begin(), last.usageSessions->end());
  } while (!last.usageSessions->empty() && static_cast<long long>(sessions.size()) < limit);
  return sessions;
}

bool confirmed() {
  if (::isatty(STDIN_FILENO) != 1) return false;
  std::fputs(
      "This forgets all recorded usage. The agents' own logs stay, and the next start of the host records "
      "the newest\n"
      "of them again, dated at that moment. Forget everything? [y/N] ",
      stdout);
  std::fflush(stdout);
  const int first = std::getchar();
  return first == 'y' || first == 'Y';
}

int resetWithoutHost(const Directories& directories) {
  const auto lock =
      InstanceLock::take(directories.instanceLock(), InstanceLock::Role::command, lockPatienceMs);
  if (lock.error) return fail(exitNoPermission, lock.error->description);
  if (!lock.lock)
    return fail(exitUnavailable, "a host holds the usage store but does not answer. End it and try again.");
  const LogToStandardError log;
  UsageStore store(directories, VigiloWritePolicy::gate(directories), Date::now);
  store.reset();
  return exitOk;
}

// What a host would tell; nothing is saved.
std::vector<ProviderBudgetReport> pollOnce(const Directories& directories) {
  UsageProviders providers(withAgentFolders(directories));
  UsageStore store(
      directories, [](const std::string&) { return false; }, Date::now);
  std::vector<ProviderBudgetReport> reports;
  for (const auto& provider : providers.all()) {
    store.record(provider->pollLatestEvents());
    auto report = provider->latestBudgetReport();
    if (!report) continue;
    store.tellCostOfSession(*report);
    reports.push_back(*std::move(report));
  }
  return reports;
}

}  // namespace

std::optional<Date> parseMoment(const std::string& text, bool endOfRange) {
  if (text.size() != 10) return Date::fromIso8601(text);
  // A local day, checked by reading it as a moment of UTC first.
  if (!Date::fromIso8601(text + "T00:00:00Z")) return std::nullopt;
  tm day{};
  day.tm_year = std::atoi(text.c_str()) - 1900;
  day.tm_mon = std::atoi(text.c_str() + 5) - 1;
  day.tm_mday = std::atoi(text.c_str() + 8) + (endOfRange ? 1 : 0);
  day.tm_isdst = -1;
  const Date moment = Date::fromUnix(static_cast<double>(::mktime(&day)));
  // The last moment that still belongs to the day, as finely as a date can tell.
  return endOfRange ? moment - 1e-6 : moment;
}

int usageCommand(const Directories& directories, const UsageOptions& options) {
  ControlRequest request{.command = ControlCommand::usageSummary};
  for (const auto& [text, target, isEnd] :
       {std::tuple{&options.from, &request.from, false}, std::tuple{&options.to, &request.to, true}}) {
    if (text->empty()) continue;
    *target = parseMoment(*text, isEnd);
    if (!*target) {
      return fail(exitUsage, "\"" + *text +
                                 "\" is no date. Write a day such as 2026-11-21, or a moment such as "
                                 "2026-11-21T08:00:00Z.");
    }
  }
  return finish(ask(directories, request), [&](const ControlResponse& response) {
    if (!response.usageSummary) return false;
    std::fputs((options.json ? encodeRecord(*response.usageSummary, exportForm) + "\n"
                             : summaryText(*response.usageSummary, period(options), terminalWidth()))
                   .c_str(),
               stdout);
    return true;
  });
}

int usageSessionsCommand(const Directories& directories, long long limit, bool json) {
  ControlResponse last;
  const auto sessions = allSessions(directories, limit, last);
  return finish(last, [&](const ControlResponse&) {
    if (!sessions) return false;
    std::fputs((json ? encodeRecord(*sessions, exportForm) + "\n" : sessionsText(*sessions, terminalWidth()))
                   .c_str(),
               stdout);
    return true;
  });
}

int usageExportCommand(const Directories& directories, const std::optional<std::string>& file) {
  FetchedReport fetched = fetchReport(ControlClient(directories.controlSocket()), ControlCommand::usageExport,
                                      &ControlResponse::usageExport);
  if (fetched.exitCode == exitNoHost) {
    const auto response = answerWithoutHost(directories, [&fetched](UsageStore& store) {
      fetched.text = store.exportPrivacySafeJSON();
      return ControlResponse{};
    });
    fetched.exitCode = response.exitCode;
    fetched.problem = response.message.value_or("");
  }
  if (!fetched.text) return fail(fetched.exitCode, fetched.problem);
  return writeExport(directories, file, *fetched.text + "\n");
}

int usageResetCommand(const Directories& directories, bool yes) {
  if (!yes && !confirmed()) {
    if (::isatty(STDIN_FILENO) == 1) return fail(exitFailure, "nothing was forgotten");
    return fail(exitUsage, "nothing was forgotten: answer the question, or give --yes");
  }
  const auto response =
      ControlClient(directories.controlSocket()).request({.command = ControlCommand::usageReset});
  if (response && response->exitCode != exitOk) return fail(response);
  const int exitCode = response ? exitOk : resetWithoutHost(directories);
  if (exitCode == exitOk) std::puts("All recorded usage is forgotten.");
  return exitCode;
}

int budgetsCommand(const Directories& directories, bool json) {
  const auto response =
      ControlClient(directories.controlSocket()).request({.command = ControlCommand::budgets});
  if (response && !response->budgets) return fail(response);
  auto reports = response ? *response->budgets : pollOnce(directories);
  std::sort(reports.begin(), reports.end(),
            [](const auto& a, const auto& b) { return a.agentType < b.agentType; });
  std::fputs(
      (json ? encodeRecord(reports, exportForm) + "\n" : budgetsText(reports, Date::now(), terminalWidth()))
          .c_str(),
      stdout);
  return exitOk;
}

}  // namespace vigilo
