#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/FileMark.h"

namespace vigilo {

// The message table of OpenCode's database, read without disturbing the agent: never written to, and nothing
// is created beside it. A database in WAL mode is opened in one of two ways. Without content in a "-wal" file
// all of it is in the database file, which is then read as immutable, since any other way would create a
// "-shm" file. With such content the agent's "-shm" file is used, and where that is missing nothing can be
// read now. Not thread-safe.
class OpenCodeDatabase {
 public:
  struct Message {
    std::string id;
    std::string sessionId;
    std::int64_t createdMilliseconds = 0;  // since 1970
    std::string data;                      // JSON
  };

  explicit OpenCodeDatabase(std::string path) : path_(std::move(path)) {}

  // The 25 newest messages that mention tokens, oldest first. Nothing where the files are as they were at the
  // last reading, which then costs two looks at them; nothing either where the database is missing, locked,
  // or none. What failed for a passing reason is read again by the next call.
  std::vector<Message> readChanged();

 private:
  struct State {
    std::optional<FileMark> database;
    std::optional<FileMark> log;  // the "-wal" file
    bool operator==(const State&) const = default;
  };

  State state() const;
  std::optional<std::string> uri(const State& state) const;

  const std::string path_;
  State read_;
};

}  // namespace vigilo
