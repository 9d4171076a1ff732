#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "support/FileMark.h"

namespace vigilo {

struct LogFile {
  std::string path;
  FileMark mark;
};

// Whether a path is a log's: "*.jsonl".
bool isLogFile(std::string_view path);
// By time, then by name.
bool isOlder(const LogFile& a, const LogFile& b);

// Told of each folder before it is listed, and of each log that is no plain file or may be none: a link.
using LogPlaceVisitor = std::function<void(const std::string& path, bool isFolder)>;

// The `limit` most recently modified files named "*.jsonl" anywhere below the folder, oldest first. Links to
// folders are not followed, and what cannot be listed is left out: agents remove folders while they are read,
// and a folder that the user has closed to us is not ours to report. No state; thread-safe.
std::vector<LogFile> newestLogFiles(const std::string& folder, std::size_t limit,
                                    const LogPlaceVisitor& visit = nullptr);

}  // namespace vigilo
