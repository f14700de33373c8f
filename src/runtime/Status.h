#pragma once
// The outcome of an operation that can fail in an expected way: a number and a description, as
// the error log and the views report them. Exceptions are kept for programming errors only.

#include <optional>
#include <string>
#include <utility>

namespace orbitel {

class Status {
 public:
  static Status Ok() { return Status(); }
  static Status Error(long number, std::string description) {
    return Status(number, std::move(description));
  }

  bool ok() const { return number_ == 0 && !failed_; }
  long number() const { return number_; }
  const std::string& description() const { return description_; }

 private:
  Status() = default;
  Status(long number, std::string description)
      : number_(number), description_(std::move(description)), failed_(true) {}

  long number_ = 0;
  std::string description_;
  bool failed_ = false;
};

// A value or the Status that explains why there is none.
template <typename T>
class Result {
 public:
  Result(T value) : value_(std::move(value)), status_(Status::Ok()) {}  // NOLINT: implicit on purpose
  Result(Status status) : status_(std::move(status)) {}                 // NOLINT: implicit on purpose

  bool ok() const { return value_.has_value(); }
  const T& value() const& { return *value_; }
  T& value() & { return *value_; }
  T&& value() && { return std::move(*value_); }
  const T& operator*() const { return *value_; }
  const T* operator->() const { return &*value_; }
  const Status& status() const { return status_; }
  T value_or(T fallback) const { return value_ ? *value_ : std::move(fallback); }

 private:
  std::optional<T> value_;
  Status status_;
};

}  // namespace orbitel
