#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "usage/LineReader.h"
#include "usage/NewestLogs.h"

namespace vigilo {

// Takes what a log folder has that is new: `beginFile`, the lines of that file in their order, `endFile`.
class LogVisitor {
 public:
  virtual ~LogVisitor() = default;

  // `isFromStart`: nothing of what this file may have held before counts any more.
  virtual void beginFile(const std::string& path, Date modifiedAt, bool isFromStart) = 0;
  // Whether the line is worth parsing: asked of every line, so it must be cheap.
  virtual bool concerns(std::string_view line) const = 0;
  // Parses one line that concerns, numbered from 0 within its file, however often that was read meanwhile.
  // False where it is no JSON object. LineReader::padding bytes behind it may be read.
  virtual bool takeLine(std::string_view line, std::size_t index) = 0;
  virtual void endFile() {}
};

// Follows an agent's folders of JSON Lines logs: of the five files modified last, oldest first, each poll
// reads what was added since the one before, and opens no file that is as it was. A file that shrank or was
// replaced is read from its start. How far each file was read is kept for as long as this object lives, some
// hundred bytes for each file that was ever among the five. Nothing is logged: a file that vanishes, cannot
// be opened or holds rubbish is an agent's everyday life. Not thread-safe.
class LogFolder {
 public:
  static constexpr std::size_t filesFollowed = 5;

  explicit LogFolder(std::vector<std::string> paths) : newest_(std::move(paths), filesFollowed) {}

  void readNew(LogVisitor& visitor);

 private:
  struct Known {
    FileMark mark;
    LineReader::Position position;
    std::size_t linesTaken = 0;
  };

  void readFile(const std::string& path, Known& known, LineReader& reader, LogVisitor& visitor);

  NewestLogs newest_;
  std::unordered_map<std::string, Known> known_;
};

}  // namespace vigilo
