#pragma once

#include <functional>
#include <optional>
#include <span>
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
  bool makeFolder = true;   // where it is missing; false refuses then
};

// Replaces a file atomically: writes a temporary file beside it and renames it over it, so that a reader sees
// the old bytes or the new ones, also after a crash of this process. Missing folders are made first, with
// permissions 0700, unless the options refuse that. Absent on success; after a failure the old file is
// untouched and no temporary file is left. Thread-safe.
std::optional<FileError> replaceFile(const std::string& path, std::string_view bytes,
                                     const WriteGate& mayWrite, FileWriteOptions options = {});
// The same for content that lies in pieces: they are written one after another and never joined in memory.
std::optional<FileError> replaceFile(const std::string& path, std::span<const std::string_view> pieces,
                                     const WriteGate& mayWrite, FileWriteOptions options = {});

// Appends the pieces to a file, which is made where there is none. Absent on success; after a failure the
// file is as long as it was, unless it cannot even be cut. A reader, and whoever comes after a crash of this
// process, may see a part of what is being appended.
std::optional<FileError> appendToFile(const std::string& path, std::span<const std::string_view> pieces,
                                      const WriteGate& mayWrite, int mode = 0600);

// Brings a file that was written without `syncToDisk`, and its folder, to the disk.
std::optional<FileError> syncFile(const std::string& path);

// Removes the temporary files that processes killed in the middle of replacing `path` have left beside it.
// Only for a path that nobody else writes.
void removeLeftTemporaries(const std::string& path, const WriteGate& mayWrite);

// The whole file, which must be a regular one. ENOENT where there is none; EFBIG beyond `limit` bytes.
Result<std::string, FileError> readFile(const std::string& path, std::size_t limit = 16u << 20);

// Makes the folder and all above it; those that are there keep their permissions. Absent on success.
std::optional<FileError> makeFolders(const std::string& path, int mode);

}  // namespace vigilo
