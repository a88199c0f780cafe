/// @file
/// The little of SQLite that an export needs, with errors as exceptions.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace vtio::results {

/// A new database in a file.
class SqliteDatabase final {
 public:
  /// @param shownPath What messages call the file.
  SqliteDatabase(const std::string& path, std::string shownPath);
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;
  ~SqliteDatabase();

  void execute(const std::string& sql);

  /// @throws ResultsError unless the result is one of success.
  void check(int result);

  [[nodiscard]] sqlite3* handle() const { return database_; }

 private:
  sqlite3* database_ = nullptr;
  std::string shownPath_;
};

/// A prepared INSERT. Parameters are numbered from 1; those that are not bound are NULL.
class SqliteInsert final {
 public:
  SqliteInsert(SqliteDatabase& database, const std::string& sql);
  SqliteInsert(const SqliteInsert&) = delete;
  SqliteInsert& operator=(const SqliteInsert&) = delete;
  ~SqliteInsert();

  void bind(int parameter, double value) { database_.check(sqlite3_bind_double(statement_, parameter, value)); }
  void bind(int parameter, std::int64_t value) { database_.check(sqlite3_bind_int64(statement_, parameter, value)); }
  void bind(int parameter, std::string_view text) {
    database_.check(sqlite3_bind_text64(statement_, parameter, text.data() == nullptr ? "" : text.data(), text.size(),
                                        SQLITE_TRANSIENT, SQLITE_UTF8));
  }
  void bindNull(int parameter) { database_.check(sqlite3_bind_null(statement_, parameter)); }

  /// Inserts the row. What is bound stays bound.
  void run();

 private:
  SqliteDatabase& database_;
  sqlite3_stmt* statement_ = nullptr;
};

/// A name in quotation marks.
[[nodiscard]] std::string sqliteName(std::string_view name);

}  // namespace vtio::results
