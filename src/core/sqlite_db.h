#pragma once
// A SQLite connection and a prepared statement, for the station store and the alarm log: every
// failure along the way makes them not ok, and later calls then do nothing.

#include <sqlite3.h>

#include <QByteArray>
#include <QString>
#include <cstdint>

namespace xl::core {

class SqliteDb {
 public:
  // Without SQLITE_OPEN_CREATE a missing file stays missing and the open fails. A writer
  // elsewhere is waited for up to `busyMs`.
  SqliteDb(const QString& path, int flags, int busyMs) {
    ok_ = sqlite3_open_v2(path.toUtf8().constData(), &db_, flags, nullptr) == SQLITE_OK;
    if (ok_) sqlite3_busy_timeout(db_, busyMs);
  }
  ~SqliteDb() { sqlite3_close_v2(db_); }
  SqliteDb(const SqliteDb&) = delete;
  SqliteDb& operator=(const SqliteDb&) = delete;

  bool ok() const { return ok_; }
  sqlite3* handle() const { return db_; }
  bool exec(const char* sql) const { return ok_ && sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK; }

 private:
  sqlite3* db_ = nullptr;
  bool ok_ = false;
};

class SqliteStatement {
 public:
  SqliteStatement(const SqliteDb& db, const QString& sql) {
    ok_ = db.ok() && sqlite3_prepare_v2(db.handle(), sql.toUtf8().constData(), -1, &stmt_, nullptr) == SQLITE_OK;
  }
  ~SqliteStatement() { sqlite3_finalize(stmt_); }
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;

  bool ok() const { return ok_; }

  // A null text is stored as the empty text.
  SqliteStatement& bind(int index, const QString& value) {
    const QByteArray utf8 = value.toUtf8();
    ok_ = ok_ && sqlite3_bind_text(stmt_, index, utf8.constData(), static_cast<int>(utf8.size()), SQLITE_TRANSIENT) ==
                     SQLITE_OK;
    return *this;
  }
  SqliteStatement& bind(int index, std::int64_t value) {
    ok_ = ok_ && sqlite3_bind_int64(stmt_, index, value) == SQLITE_OK;
    return *this;
  }

  // True while there is a row to read; ok() tells a finished statement from a failed one.
  bool next() {
    if (!ok_) return false;
    const int rc = sqlite3_step(stmt_);
    ok_ = rc == SQLITE_ROW || rc == SQLITE_DONE;
    return rc == SQLITE_ROW;
  }

  // Runs a statement that returns no rows.
  bool run() {
    while (next()) {}
    return ok_;
  }

  QString text(int column) const {
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
    return data ? QString::fromUtf8(data, sqlite3_column_bytes(stmt_, column)) : QString();
  }
  std::int64_t integer(int column) const { return sqlite3_column_int64(stmt_, column); }
  int columnCount() const { return sqlite3_column_count(stmt_); }
  const char* columnName(int column) const { return sqlite3_column_name(stmt_, column); }

 private:
  sqlite3_stmt* stmt_ = nullptr;
  bool ok_ = false;
};

}  // namespace xl::core
