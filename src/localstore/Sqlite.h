#pragma once
// Owning wrappers of SQLite's handles for the local store: a database connection, a prepared
// statement that resets itself for its next use, and a transaction that rolls back unless it
// was committed. SQLite's own header stays with the code that calls it.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "runtime/Status.h"

struct sqlite3;
struct sqlite3_stmt;

namespace orbitel::data::sqlite {

// What Statement::Step answers when all went well (SQLite's SQLITE_ROW and SQLITE_DONE).
inline constexpr int kRow = 100;
inline constexpr int kDone = 101;

struct DatabaseClose {
  void operator()(sqlite3* db) const;
};
using DatabaseHandle = std::unique_ptr<sqlite3, DatabaseClose>;

struct StatementFinalize {
  void operator()(sqlite3_stmt* statement) const;
};

// A statement prepared once and run many times: Bind, then Step until it reports no more
// rows. Reset happens before each new round of binding.
class Statement {
 public:
  Statement() = default;
  Statement(sqlite3* db, std::string_view sql);  // check ok() after

  bool ok() const { return statement_ != nullptr; }
  Statement& Reset();
  Statement& Bind(int index, std::int64_t value);
  Statement& Bind(int index, std::string_view text);
  Statement& BindNull(int index);
  // SQLITE_ROW, SQLITE_DONE or an error code; the first failed Bind since the last Reset is
  // that error, and the statement is not run.
  int Step();

  std::int64_t Int(int column) const;
  bool IsNull(int column) const;
  std::string Text(int column) const;

 private:
  Statement& Bound(int result);

  std::unique_ptr<sqlite3_stmt, StatementFinalize> statement_;
  int bind_error_ = 0;  // SQLITE_OK
};

// BEGIN IMMEDIATE at construction (the write lock is taken at once, so two writers wait for
// each other instead of failing half-way); ROLLBACK in the destructor unless Commit succeeded.
class Transaction {
 public:
  explicit Transaction(sqlite3* db);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool began() const { return began_; }
  bool Commit();

 private:
  sqlite3* db_;
  bool began_ = false;
  bool done_ = false;
};

// Runs statements without results; false when one fails.
bool Execute(sqlite3* db, const char* sql);

// SQLite's own check of the database's file: "ok", or what it found damaged; an error (in
// SQLite's words) when it could not look.
Result<std::string> IntegrityVerdict(sqlite3* db);

// The connection's last error in SQLite's words.
std::string LastError(sqlite3* db);

}  // namespace orbitel::data::sqlite
