#pragma once
// A recordset: named fields, rows of typed values, a cursor, an optional filter, and pending
// edits that Update commits. Rowset files (RowsetFile.h) and the store providers fill one.
// Not thread-safe: a recordset belongs to the request that opened it.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "query/Expression.h"
#include "runtime/Status.h"
#include "runtime/Value.h"

namespace orbitel::data {

struct FieldInfo {
  std::string name;
  std::string type = "string";  // the declared data type: string, int, boolean, dateTime, ...
  int max_length = 255;         // for strings; 0 when not declared
};

class Recordset {
 public:
  Recordset() = default;
  Recordset(std::vector<FieldInfo> fields, std::vector<std::vector<Value>> rows);

  bool IsOpen() const { return open_; }
  void Close();

  const std::vector<FieldInfo>& fields() const { return fields_; }
  // Every row still in the set (deleted rows are gone), in order, whatever the filter.
  const std::vector<std::vector<Value>>& rows() const { return rows_; }
  // The column of a field, its name matched as Field matches it.
  std::optional<std::size_t> FieldIndex(std::string_view name) const;

  // True when the cursor is past the last row that passes the filter (ADO's EOF).
  bool IsEOF() const;
  // True when a move went back past the first passing row (ADO's BOF). With no passing rows
  // both IsBOF and IsEOF hold. A closed recordset is at both.
  bool IsBOF() const;
  std::size_t VisibleCount() const;

  // The current row's field. errors::kBofOrEof without a current row;
  // errors::kItemNotFoundInCollection for a name the recordset does not have.
  Result<Value> Field(std::string_view name) const;
  // Sets a field of the current row (or of the row being added); the change is pending until
  // Update or a move.
  Status SetField(std::string_view name, Value value);

  // Moves commit pending edits first. MoveFirst fails with errors::kBofOrEof when no row
  // passes the filter (the cursor is then at EOF).
  Status MoveFirst();
  Status MoveNext();
  // Moves by a number of rows from the current one (negative moves back). Moving past the last
  // or before the first passing row stops at EOF or BOF; moving on from there, or Move(0)
  // without a current row, fails with errors::kBofOrEof. After Delete the next row counts as
  // the first step forward.
  Status Move(long rows);

  // An empty text clears the filter. An expression that does not parse fails with
  // errors::kFilterInvalid, one naming a field the recordset does not have with
  // errors::kItemNotFoundInCollection; both leave the filter, cursor and edits as they were.
  // Otherwise pending edits are committed and the cursor goes to the first passing row.
  Status SetFilter(std::string_view expression);

  // Starts a new row with empty fields and makes it current; pending edits are committed first.
  // Update (or a move) appends it to the rows and leaves it current.
  Status AddNew();
  // Removes the current row; the cursor stays on the position it had (read the next by
  // MoveNext). Pending edits are committed first. With a delete handler the row is handed to
  // it first, and a failure it reports keeps the row and is returned.
  Status Delete();
  // Commits pending field changes of the current or new row; without any it does nothing, so
  // "Delete, Update, MoveNext" loops work.
  Status Update();

  // What removing a row means beyond this recordset: a store's recordset removes the item the
  // row names from its folder. Rowset files have none and delete rows in memory only.
  using DeleteHandler = std::function<Status(const std::vector<Value>& row)>;
  void SetDeleteHandler(DeleteHandler handler) { delete_handler_ = std::move(handler); }

 private:
  bool Passes(std::size_t row) const;
  bool AnyPassing() const;
  void SkipToPassing();
  void MoveToFirstPassing();
  bool HasCurrent() const;
  void CommitPending();

  bool open_ = false;
  std::vector<FieldInfo> fields_;
  std::vector<std::vector<Value>> rows_;
  std::size_t cursor_ = 0;        // a row index; rows_.size() is EOF
  bool bof_ = false;              // the cursor is before the first passing row
  std::unique_ptr<Expression> filter_;
  bool deleted_current_ = false;  // the row under the cursor was deleted; MoveNext stays put
  // The edited copy of the current row, or the row being added, until Update or a move.
  std::optional<std::vector<Value>> pending_;
  bool adding_ = false;
  DeleteHandler delete_handler_;
};

}  // namespace orbitel::data
