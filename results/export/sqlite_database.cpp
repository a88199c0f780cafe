#include "results/export/sqlite_database.hpp"

#include <utility>

#include "results/file/results_error.hpp"

namespace vtio::results {

SqliteDatabase::SqliteDatabase(const std::string& path, std::string shownPath) : shownPath_(std::move(shownPath)) {
  const int result = sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  if (result == SQLITE_OK) return;
  const std::string reason = database_ != nullptr ? sqlite3_errmsg(database_) : sqlite3_errstr(result);
  sqlite3_close(database_);
  throw ResultsError(shownPath_, "cannot write: " + reason);
}

SqliteDatabase::~SqliteDatabase() { sqlite3_close(database_); }

void SqliteDatabase::check(int result) {
  if (result == SQLITE_OK || result == SQLITE_DONE) return;
  throw ResultsError(shownPath_, std::string("cannot write: ") + sqlite3_errmsg(database_));
}

void SqliteDatabase::execute(const std::string& sql) {
  check(sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr));
}

SqliteInsert::SqliteInsert(SqliteDatabase& database, const std::string& sql) : database_(database) {
  database_.check(
      sqlite3_prepare_v2(database_.handle(), sql.c_str(), static_cast<int>(sql.size()), &statement_, nullptr));
}

SqliteInsert::~SqliteInsert() { sqlite3_finalize(statement_); }

void SqliteInsert::run() {
  database_.check(sqlite3_step(statement_));
  database_.check(sqlite3_reset(statement_));
}

std::string sqliteName(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '"') quoted += '"';
    if (c != '\0') quoted += c;
  }
  return quoted + "\"";
}

}  // namespace vtio::results
