#include <sqlite3.h>

#include "tests/fuzz/Fuzz.h"
#include "tests/support/TempFolder.h"
#include "usage/OpenCodeMessages.h"

using namespace vigilo;

VIGILO_FUZZ(text) {
  static const test::TempFolder folder;
  static sqlite3* const database = [] {
    sqlite3* opened = nullptr;
    fuzz::require(::sqlite3_open(folder.path("opencode.db").c_str(), &opened) == SQLITE_OK);
    ::sqlite3_exec(
        opened,
        "PRAGMA synchronous=OFF; CREATE TABLE message (id text PRIMARY KEY, session_id text, time_created "
        "integer NOT NULL, time_updated integer NOT NULL, data text)",
        nullptr, nullptr, nullptr);
    return opened;
  }();
  sqlite3_stmt* statement = nullptr;
  ::sqlite3_prepare_v2(database, "INSERT OR REPLACE INTO message VALUES ('m', 's', 1, 1, ?)", -1, &statement,
                       nullptr);
  ::sqlite3_bind_text(statement, 1, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  fuzz::require(::sqlite3_step(statement) == SQLITE_DONE);
  ::sqlite3_finalize(statement);
  const auto source = openCodeMessages(folder.path("opencode.db"));
  source->readNew(Date{}, [](const UsageEvent&) {});
}
