#include "localstore/Sqlite.h"

#include <sqlite3.h>

#include <limits>

namespace orbitel::data::sqlite {

static_assert(kRow == SQLITE_ROW && kDone == SQLITE_DONE);

void DatabaseClose::operator()(sqlite3* db) const { sqlite3_close_v2(db); }

void StatementFinalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Statement::Statement(sqlite3* db, std::string_view sql) {
  sqlite3_stmt* prepared = nullptr;
  if (sqlite3_prepare_v3(db, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                         &prepared, nullptr) == SQLITE_OK) {
    statement_.reset(prepared);
  } else {
    sqlite3_finalize(prepared);
  }
}

Statement& Statement::Reset() {
  sqlite3_reset(statement_.get());
  sqlite3_clear_bindings(statement_.get());
  bind_error_ = SQLITE_OK;
  return *this;
}

Statement& Statement::Bound(int result) {
  if (result != SQLITE_OK && bind_error_ == SQLITE_OK) bind_error_ = result;
  return *this;
}

Statement& Statement::Bind(int index, std::int64_t value) {
  return Bound(sqlite3_bind_int64(statement_.get(), index, value));
}

Statement& Statement::Bind(int index, std::string_view text) {
  // A text too long for SQLite's int length is refused rather than cut.
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return Bound(SQLITE_TOOBIG);
  return Bound(sqlite3_bind_text(statement_.get(), index, text.data(), static_cast<int>(text.size()),
                                 SQLITE_TRANSIENT));
}

Statement& Statement::BindNull(int index) { return Bound(sqlite3_bind_null(statement_.get(), index)); }

int Statement::Step() {
  if (bind_error_ != SQLITE_OK) return bind_error_;
  return sqlite3_step(statement_.get());
}

std::int64_t Statement::Int(int column) const { return sqlite3_column_int64(statement_.get(), column); }

bool Statement::IsNull(int column) const { return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL; }

std::string Statement::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  if (text == nullptr) return std::string();
  return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column)));
}

Transaction::Transaction(sqlite3* db) : db_(db) {
  began_ = Execute(db_, "BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (began_ && !done_) Execute(db_, "ROLLBACK");
}

bool Transaction::Commit() {
  if (!began_ || done_) return false;
  done_ = Execute(db_, "COMMIT");
  return done_;
}

bool Execute(sqlite3* db, const char* sql) {
  return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

Result<std::string> IntegrityVerdict(sqlite3* db) {
  Statement check(db, "PRAGMA integrity_check");
  if (!check.ok() || check.Step() != SQLITE_ROW) return Status::Error(sqlite3_errcode(db), LastError(db));
  return check.Text(0);
}

std::string LastError(sqlite3* db) { return sqlite3_errmsg(db); }

}  // namespace orbitel::data::sqlite
