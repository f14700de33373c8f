#include "recordset/Recordset.h"

#include <utility>

#include "query/DataErrors.h"
#include "runtime/Conversions.h"

namespace orbitel::data {
namespace {

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

}  // namespace

Recordset::Recordset(std::vector<FieldInfo> fields, std::vector<std::vector<Value>> rows)
    : open_(true), fields_(std::move(fields)), rows_(std::move(rows)) {
  // Every row holds one value a field, so lookups never need to check a row's width.
  for (auto& row : rows_) row.resize(fields_.size());
}

void Recordset::Close() { *this = Recordset(); }

bool Recordset::IsEOF() const {
  if (!open_) return true;
  if (adding_ || deleted_current_) return false;
  return bof_ ? !AnyPassing() : cursor_ >= rows_.size();
}

bool Recordset::IsBOF() const {
  if (!open_) return true;
  if (adding_ || deleted_current_) return false;
  return bof_ || (cursor_ >= rows_.size() && !AnyPassing());
}

std::size_t Recordset::VisibleCount() const {
  std::size_t count = 0;
  for (std::size_t row = 0; row < rows_.size(); ++row) count += Passes(row) ? 1 : 0;
  return count;
}

Result<Value> Recordset::Field(std::string_view name) const {
  if (!open_) return ClosedObjectError();
  const std::optional<std::size_t> index = FieldIndex(name);
  if (!index) return ItemNotFoundError();
  if (!HasCurrent()) return NoCurrentRecordError();
  return pending_ ? (*pending_)[*index] : rows_[cursor_][*index];
}

Status Recordset::SetField(std::string_view name, Value value) {
  if (!open_) return ClosedObjectError();
  const std::optional<std::size_t> index = FieldIndex(name);
  if (!index) return ItemNotFoundError();
  if (!HasCurrent()) return NoCurrentRecordError();
  if (!pending_) pending_ = rows_[cursor_];
  (*pending_)[*index] = std::move(value);
  return Status::Ok();
}

Status Recordset::MoveFirst() {
  if (!open_) return ClosedObjectError();
  CommitPending();
  MoveToFirstPassing();
  return cursor_ < rows_.size() ? Status::Ok() : NoCurrentRecordError();
}

Status Recordset::MoveNext() { return Move(1); }

Status Recordset::Move(long rows) {
  if (!open_) return ClosedObjectError();
  CommitPending();
  if (rows == 0) return HasCurrent() ? Status::Ok() : NoCurrentRecordError();

  if (rows > 0) {
    if (IsEOF()) return NoCurrentRecordError();
    // From BOF or a deleted row the first step lands on the first passing row at the cursor.
    std::size_t at = bof_ ? 0 : deleted_current_ ? cursor_ : cursor_ + 1;
    bof_ = deleted_current_ = false;
    cursor_ = at;
    SkipToPassing();
    for (long step = 1; step < rows && cursor_ < rows_.size(); ++step) {
      ++cursor_;
      SkipToPassing();
    }
    return Status::Ok();
  }

  if (IsBOF()) return NoCurrentRecordError();
  // The cursor is on the current row, at EOF, or on the row after a deleted one: in every case
  // the step back goes to the nearest passing row below it.
  bof_ = deleted_current_ = false;
  for (long step = 0; step < -rows; ++step) {
    std::size_t at = cursor_;
    while (at > 0 && !Passes(at - 1)) --at;
    if (at == 0) {
      bof_ = true;
      cursor_ = 0;
      return Status::Ok();
    }
    cursor_ = at - 1;
  }
  return Status::Ok();
}

Status Recordset::SetFilter(std::string_view expression) {
  if (!open_) return ClosedObjectError();
  std::unique_ptr<Expression> filter;
  if (!Trim(expression).empty()) {
    auto parsed = ParseExpression(expression);
    if (!parsed.ok()) return FilterInvalidError();
    // Names are checked once here, against a row of empty values, so a filter naming a field
    // this recordset lacks fails now instead of hiding every row.
    const FieldLookup known = [this](std::string_view name) -> std::optional<Value> {
      if (!FieldIndex(name)) return std::nullopt;
      return Value();
    };
    Result<bool> checked = Evaluate(**parsed, known);
    if (!checked.ok()) return checked.status();
    filter = std::move(parsed).value();
  }
  CommitPending();
  filter_ = std::move(filter);
  MoveToFirstPassing();
  return Status::Ok();
}

Status Recordset::AddNew() {
  if (!open_) return ClosedObjectError();
  CommitPending();
  pending_.emplace(fields_.size());
  adding_ = true;
  return Status::Ok();
}

Status Recordset::Delete() {
  if (!open_) return ClosedObjectError();
  CommitPending();
  if (!HasCurrent()) return NoCurrentRecordError();
  if (delete_handler_) {
    if (Status removed = delete_handler_(rows_[cursor_]); !removed.ok()) return removed;
  }
  rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(cursor_));
  deleted_current_ = true;
  return Status::Ok();
}

Status Recordset::Update() {
  if (!open_) return ClosedObjectError();
  CommitPending();
  return Status::Ok();
}

bool Recordset::Passes(std::size_t row) const {
  if (!filter_) return true;
  const FieldLookup lookup = [this, row](std::string_view name) -> std::optional<Value> {
    const std::optional<std::size_t> index = FieldIndex(name);
    if (!index) return std::nullopt;
    return rows_[row][*index];
  };
  Result<bool> passes = Evaluate(*filter_, lookup);
  return passes.ok() && *passes;
}

bool Recordset::AnyPassing() const {
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    if (Passes(row)) return true;
  }
  return false;
}

void Recordset::SkipToPassing() {
  while (cursor_ < rows_.size() && !Passes(cursor_)) ++cursor_;
}

void Recordset::MoveToFirstPassing() {
  bof_ = deleted_current_ = false;
  cursor_ = 0;
  SkipToPassing();
}

bool Recordset::HasCurrent() const {
  return adding_ || (!bof_ && !deleted_current_ && cursor_ < rows_.size());
}

void Recordset::CommitPending() {
  if (!pending_) return;
  if (adding_) {
    rows_.push_back(std::move(*pending_));
    cursor_ = rows_.size() - 1;
    bof_ = deleted_current_ = adding_ = false;
  } else {
    rows_[cursor_] = std::move(*pending_);
  }
  pending_.reset();
}

std::optional<std::size_t> Recordset::FieldIndex(std::string_view name) const {
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (SameName(fields_[i].name, name)) return i;
  }
  return std::nullopt;
}

}  // namespace orbitel::data
