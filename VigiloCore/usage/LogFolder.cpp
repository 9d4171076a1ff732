#include "usage/LogFolder.h"

#include <fcntl.h>

#include "support/UniqueFd.h"

namespace vigilo {
namespace {

// The length of the newline character at the front of `text`, 0 where there is none.
std::size_t newlineLength(std::string_view text) {
  if (text.empty()) return 0;
  if (text.front() >= '\n' && text.front() <= '\r') return 1;  // with VT and FF between
  if (text.starts_with("\xC2\x85")) return 2;                  // U+0085
  return text.starts_with("\xE2\x80\xA8") || text.starts_with("\xE2\x80\xA9") ? 3 : 0;  // U+2028, U+2029
}

// Drops the newline characters at the front of `text`, then takes what stands before the next one.
std::string_view takePiece(std::string_view& text) {
  while (const std::size_t length = newlineLength(text)) text.remove_prefix(length);
  std::size_t end = 0;
  while (end < text.size() && newlineLength(text.substr(end)) == 0) ++end;
  const std::string_view piece = text.substr(0, end);
  text.remove_prefix(end);
  return piece;
}

bool isBlank(std::string_view text) {
  while (const std::size_t length = newlineLength(text)) text.remove_prefix(length);
  return text.empty();
}

// Numbers the lines of one file and passes those on that concern the visitor.
class Lines {
 public:
  // `taken`: how many lines of the file came before.
  Lines(LogVisitor& visitor, std::size_t& taken) : visitor_(visitor), index_(taken) {}

  bool take(std::string_view line, bool isTerminated) {
    if (isBlank(line)) return isTerminated;
    const bool concerns = visitor_.concerns(line);
    if (concerns && visitor_.takeLine(line, index_)) {
      ++index_;
      return true;
    }
    // A whole object needs no line feed to be complete. Anything else may be the beginning of one.
    if (!isTerminated) return false;
    if (concerns) {
      takePieces(line);
    } else {
      ++index_;
    }
    return true;
  }

 private:
  // Agents write these characters raw within texts, so only a line that is nothing by itself is split there.
  void takePieces(std::string_view line) {
    for (std::string_view rest = line; !isBlank(rest); ++index_) {
      const std::string_view piece = takePiece(rest);
      if (piece.size() < line.size() && visitor_.concerns(piece)) visitor_.takeLine(piece, index_);
    }
  }

  LogVisitor& visitor_;
  std::size_t& index_;
};

}  // namespace

void LogFolder::readFile(const std::string& path, Known& known, LineReader& reader, LogVisitor& visitor) {
  // Not blocking, in case a named pipe took the file's place.
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  const auto mark = fd ? FileMark::of(fd.get()) : std::nullopt;
  if (!mark) return;
  const bool isFromStart =
      known.position.offset == 0 || !known.mark.isSameFile(*mark) || mark->size < known.position.offset;
  if (isFromStart) known = {};
  known.mark = *mark;
  visitor.beginFile(path, mark->modifiedAt(), isFromStart);
  Lines lines(visitor, known.linesTaken);
  reader.read(fd.get(), known.position,
              [&lines](std::string_view line, bool isTerminated) { return lines.take(line, isTerminated); });
  visitor.endFile();
}

void LogFolder::readNew(LogVisitor& visitor) {
  LineReader reader;  // of this poll only: between polls no buffer is kept
  for (const LogFile& file : newest_.look()) {
    Known& known = known_[file.path];
    if (known.mark != file.mark) readFile(file.path, known, reader, visitor);
  }
}

}  // namespace vigilo
