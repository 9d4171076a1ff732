#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "support/FileMark.h"

namespace vigilo {

struct LogFile {
  std::string path;
  FileMark mark;
};

// The `limit` most recently modified files named "*.jsonl" anywhere below the folder, oldest first. Links to
// folders are not followed, and what cannot be listed is left out: agents remove folders while they are read,
// and a folder that the user has closed to us is not ours to report. No state; thread-safe.
std::vector<LogFile> newestLogFiles(const std::string& folder, std::size_t limit);

}  // namespace vigilo
