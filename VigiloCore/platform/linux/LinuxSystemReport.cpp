#include "platform/linux/LinuxSystemReport.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <sstream>
#include <vector>

#include "platform/linux/Bus.h"
#include "support/AtomicFile.h"
#include "support/Log.h"
#include "support/Subprocess.h"
#include "support/Utf8.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr Log logger{"com.vigilo.app", "power"};
constexpr auto toolLimit = 3s;

// A value as a shell would read it: without quotes and the backslashes inside.
std::string unquoted(std::string_view value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
    value = value.substr(1, value.size() - 2);
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\\' && i + 1 < value.size()) ++i;
    text += value[i];
  }
  return text;
}

// "Debian GNU/Linux 12 (bookworm)"; empty where the file does not tell.
std::string distribution(const std::string& root) {
  constexpr std::string_view key = "PRETTY_NAME=";
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    const auto text = readFile(root + path, 64 * 1024);
    if (!text) continue;
    std::istringstream lines(*text);
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(key)) return unquoted(std::string_view(line).substr(key.size()));
    }
  }
  return {};
}

using Row = std::array<std::string, 6>;

// Aligned in columns; what came from outside stays on its line.
std::string table(const std::vector<Row>& rows) {
  std::array<std::size_t, 6> widths{};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line.append(widths[i] - row[i].size() + 2, ' ');
    }
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
    text += line + "\n";
  }
  return text;
}

std::string inhibitors() {
  const auto list = bus::listInhibitors();
  if (!list) {
    logger.error("logind's inhibitors cannot be listed: %s", list.error().description);
    return {};
  }
  if (list->empty()) return "No inhibitors.\n";
  std::vector<Row> rows{{"WHO", "UID", "PID", "WHAT", "MODE", "WHY"}};
  for (const auto& each : *list) {
    rows.push_back(
        {each.who, std::to_string(each.uid), std::to_string(each.pid), each.what, each.mode, each.why});
  }
  return table(rows);
}

}  // namespace

std::string LinuxSystemReport::osVersion() {
  std::string text = distribution(root_);
  utsname kernel{};
  if (::uname(&kernel) != 0) return text;
  if (!text.empty()) text += ", ";
  return text + kernel.sysname + " " + kernel.release;
}

std::string LinuxSystemReport::assertionsSummary() {
  if (::access(toolPath_.c_str(), F_OK) != 0) return inhibitors();
  const auto run = runProgram(toolPath_, {"-g", "assertions"},
                              {.captureOutput = true, .isSilent = true, .timeLimit = toolLimit});
  if (!run) logger.error("%s -g assertions does not run, or does not end", toolPath_);
  return run && isUtf8(run->standardOutput) ? run->standardOutput : "";
}

std::unique_ptr<SystemReport> makeSystemReport() {
  return std::make_unique<LinuxSystemReport>();
}

}  // namespace vigilo
