#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/Date.h"

namespace vigilo {

// A longer command ends with the character that reaches this many bytes. `ps` cuts each line at 128 KiB, with
// a pid in it that is as wide as the largest that the machine may give.
inline constexpr std::size_t longestCommand = 128 * 1024 - 16;

// One process as `ps -axo pid,command` prints it. A plain value.
struct ProcessLine {
  std::int32_t pid = 0;
  std::string command;  // the arguments with a blank between them; never empty, no blanks at its end

  bool operator==(const ProcessLine&) const = default;
};

// Reads one line of `ps -axo pid,command`: blanks around it are dropped, and the command begins behind the
// first blank, and is no longer than `longestCommand`. Absent for the heading, for a process that has ended
// ("[cat] <defunct>": its parent has not looked at its end yet) and for whatever else is no such line.
std::optional<ProcessLine> parseProcessLine(std::string_view line);

// What runs on the machine. Blocks for as long as the source takes, which is milliseconds where nothing
// hangs. Not thread-safe.
class ProcessTable {
 public:
  virtual ~ProcessTable() = default;
  // All processes that may be seen and have not ended, by ascending pid. Absent when the source failed.
  virtual std::optional<std::vector<ProcessLine>> read() = 0;

  // When a process began, and when the youngest of its living children did; never earlier than it really was,
  // and a hundredth of a second later at most. Absent where there is no such process or child, or where the
  // source cannot tell. Each costs a few system calls: ask only about processes that matter.
  virtual std::optional<Date> startedAt(std::int32_t) { return std::nullopt; }
  virtual std::optional<Date> youngestChildStartedAt(std::int32_t) { return std::nullopt; }
};

// The machine's own process table, read by running `ps` where it gives nothing.
std::unique_ptr<ProcessTable> makeProcessTable();

}  // namespace vigilo
