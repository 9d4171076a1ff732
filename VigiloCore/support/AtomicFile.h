#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "support/Result.h"

namespace vigilo {

// Asks whether a path may be written at all.
using WriteGate = std::function<bool(const std::string& path)>;

struct FileError {
  int code = 0;             // errno; EPERM where the write gate refused
  std::string description;  // for people: the path and what went wrong
};

struct FileWriteOptions {
  int mode = 0600;          // permissions of a new file; an existing file keeps its own
  bool syncToDisk = false;  // fsync the file and its folder
};

// Replaces a file atomically: writes a temporary file beside it and renames it over it, so that a reader sees
// the old bytes or the new ones, also after a crash of this process. Missing folders are made first, with
// permissions 0700. Absent on success; after a failure the old file is untouched and no temporary file is
// left. Thread-safe.
std::optional<FileError> replaceFile(const std::string& path, std::string_view bytes,
                                     const WriteGate& mayWrite, FileWriteOptions options = {});

// The whole file. ENOENT where there is none; EFBIG beyond `limit` bytes.
Result<std::string, FileError> readFile(const std::string& path, std::size_t limit = 16u << 20);

// Makes the folder and all above it; those that are there keep their permissions. Absent on success.
std::optional<FileError> makeFolders(const std::string& path, int mode);

}  // namespace vigilo
