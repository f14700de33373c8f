#pragma once
// A recordset: named fields, rows of typed values, a cursor, an optional filter, and pending
// edits that Update commits. Rowset files (RowsetFile.h) and the store providers fill one.
// Not thread-safe: a recordset belongs to the request that opened it.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "data/Expression.h"
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

  // True when the cursor is past the last row that passes the filter (ADO's EOF).
  bool IsEOF() const;
  std::size_t VisibleCount() const;

  // The current row's field. errors::kBofOrEof without a current row;
  // errors::kItemNotFoundInCollection for a name the recordset does not have.
  Result<Value> Field(std::string_view name) const;
  // Sets a field of the current row (or of the row being added); the change is pending until
  // Update or a move.
  Status SetField(std::string_view name, Value value);

  Status MoveFirst();
  Status MoveNext();
  // Moves by a number of rows from the current one (negative moves back).
  Status Move(long rows);

  // An empty text clears the filter. An expression that does not parse fails with
  // errors::kFilterInvalid and leaves the filter as it was. The cursor goes to the first
  // passing row.
  Status SetFilter(std::string_view expression);

  // Starts a new row with empty fields and makes it current.
  Status AddNew();
  // Removes the current row; the cursor stays on the position it had (read the next by MoveNext).
  Status Delete();
  // Commits pending field changes of the current or new row.
  Status Update();

 private:
  bool Passes(std::size_t row) const;
  void SkipToPassing();
  std::optional<std::size_t> FieldIndex(std::string_view name) const;

  bool open_ = false;
  std::vector<FieldInfo> fields_;
  std::vector<std::vector<Value>> rows_;
  std::size_t cursor_ = 0;
  std::unique_ptr<Expression> filter_;
  bool deleted_current_ = false;  // the row under the cursor was deleted; MoveNext stays put
};

}  // namespace orbitel::data
