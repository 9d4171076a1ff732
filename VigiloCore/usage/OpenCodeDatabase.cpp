#include "usage/OpenCodeDatabase.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "support/UniqueFd.h"

namespace vigilo {
namespace {

using Message = OpenCodeDatabase::Message;

constexpr const char* query =
    "SELECT id, session_id, time_created, data\n"
    "FROM message\n"
    "WHERE data LIKE '%\"tokens\"%'\n"
    "ORDER BY time_created DESC LIMIT 25;";

constexpr std::string_view immutable = "?immutable=1";

struct Close {
  void operator()(sqlite3* database) const { ::sqlite3_close(database); }
  void operator()(sqlite3_stmt* statement) const { ::sqlite3_finalize(statement); }
};

// Byte 18 of a database's header tells how it is written: 2 is WAL.
bool isInWalMode(const std::string& path) {
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  unsigned char version = 0;
  return fd && ::pread(fd.get(), &version, 1, 18) == 1 && version == 2;
}

std::string percentEncoded(std::string_view path) {
  std::string result;
  for (const char c : path) {
    switch (c) {
      case '%':
        result += "%25";
        break;
      case '?':
        result += "%3f";
        break;
      case '#':
        result += "%23";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::optional<std::string> textColumn(sqlite3_stmt* row, int column) {
  const auto* text = reinterpret_cast<const char*>(::sqlite3_column_text(row, column));
  if (text == nullptr) return std::nullopt;
  return std::string(text, static_cast<std::size_t>(::sqlite3_column_bytes(row, column)));
}

std::optional<Message> messageOf(sqlite3_stmt* row) {
  auto id = textColumn(row, 0);
  auto sessionId = textColumn(row, 1);
  auto data = textColumn(row, 3);
  if (!id || !sessionId || !data) return std::nullopt;
  return Message{std::move(*id), std::move(*sessionId), ::sqlite3_column_int64(row, 2), std::move(*data)};
}

// What was read before a failure counts; `status` says how it ended, SQLITE_DONE if well.
std::vector<Message> select(const std::string& uri, int& status) {
  std::vector<Message> messages;
  sqlite3* opened = nullptr;
  status = ::sqlite3_open_v2(uri.c_str(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
  const std::unique_ptr<sqlite3, Close> database(opened);
  if (status != SQLITE_OK) return messages;
  sqlite3_stmt* prepared = nullptr;
  status = ::sqlite3_prepare_v2(opened, query, -1, &prepared, nullptr);
  const std::unique_ptr<sqlite3_stmt, Close> statement(prepared);
  if (status != SQLITE_OK) return messages;
  while ((status = ::sqlite3_step(prepared)) == SQLITE_ROW) {
    if (auto message = messageOf(prepared)) messages.push_back(std::move(*message));
  }
  std::ranges::reverse(messages);
  return messages;
}

}  // namespace

OpenCodeDatabase::State OpenCodeDatabase::state() const {
  return {FileMark::of(path_), FileMark::of(path_ + "-wal")};
}

// How to open the database; absent where that must wait.
std::optional<std::string> OpenCodeDatabase::uri(const State& state) const {
  std::string plain = "file://" + percentEncoded(path_);
  if (!isInWalMode(path_)) return plain;
  if (!state.log || state.log->size == 0) return plain.append(immutable);
  if (!FileMark::of(path_ + "-shm")) return std::nullopt;
  return plain;
}

std::vector<Message> OpenCodeDatabase::readChanged() {
  const State before = state();
  if (!before.database || before == read_) return {};
  const auto name = uri(before);
  if (!name) return {};
  int status = SQLITE_OK;
  auto messages = select(*name, status);
  if (status == SQLITE_BUSY || status == SQLITE_LOCKED) return {};
  // An immutable database is read without locks: if it changed meanwhile, the rows may be of two ages.
  if (name->ends_with(immutable) && state() != before) return {};
  read_ = before;
  return messages;
}

}  // namespace vigilo
