#include "platform/PsProcessTable.h"

#include "support/Subprocess.h"
#include "support/Utf8.h"

namespace vigilo {
namespace {

constexpr auto pauseAfterFailure = std::chrono::minutes(1);

}  // namespace

std::optional<std::string> PsProcessTable::output() {
  SubprocessOptions options{.captureOutput = true, .isSilent = true, .timeLimit = timeLimit_};
  // The first two cut the lines or change their columns. In other locales than this one the tool prints marks
  // in place of what it takes for unprintable.
  options.environment = {{"COLUMNS", std::nullopt}, {"PS_FORMAT", std::nullopt}, {"LC_ALL", "C.UTF-8"}};
  auto run = runProgram(tool_, {"-axo", "pid,command"}, options);
  if (!run || run->exitStatus != 0 || !isUtf8(run->standardOutput)) return std::nullopt;
  return std::move(run->standardOutput);
}

std::optional<std::vector<ProcessLine>> PsProcessTable::read() {
  const auto now = std::chrono::steady_clock::now();
  if (notBefore_ && now < *notBefore_) return std::nullopt;
  const auto text = output();
  if (!text) {
    notBefore_ = now + pauseAfterFailure;
    if (failure_.begins(tool_)) log_.error("Cannot read the process table with %s", tool_);
    return std::nullopt;
  }
  notBefore_.reset();
  if (failure_.ends()) log_.info("%s reads the process table again", tool_);
  std::vector<ProcessLine> lines;
  for (std::string_view rest = *text; !rest.empty();) {
    const auto end = rest.find('\n');
    if (auto line = parseProcessLine(rest.substr(0, end))) lines.push_back(std::move(*line));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  return lines;
}

}  // namespace vigilo
