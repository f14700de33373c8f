#pragma once
// A typed value as a recordset field or a page method carries it: empty, text, number,
// Boolean or date-time. Every value reads as text with the runtime's conversions, and text reads
// back as the typed value, so "read as text, then converted" loses nothing.

#include <string>
#include <variant>

#include "runtime/Date.h"

namespace orbitel {

class Value {
 public:
  Value() = default;  // empty
  Value(std::string text) : data_(std::move(text)) {}  // NOLINT: implicit on purpose
  Value(const char* text) : data_(std::string(text)) {}  // NOLINT
  Value(double number) : data_(number) {}              // NOLINT
  Value(int number) : data_(static_cast<double>(number)) {}  // NOLINT
  Value(bool flag) : data_(flag) {}                    // NOLINT
  Value(Date date) : data_(date) {}                    // NOLINT

  bool IsEmpty() const { return std::holds_alternative<std::monostate>(data_); }
  bool IsText() const { return std::holds_alternative<std::string>(data_); }
  bool IsNumber() const { return std::holds_alternative<double>(data_); }
  bool IsBoolean() const { return std::holds_alternative<bool>(data_); }
  bool IsDate() const { return std::holds_alternative<Date>(data_); }

  const std::string* AsText() const { return std::get_if<std::string>(&data_); }
  const double* AsNumber() const { return std::get_if<double>(&data_); }
  const bool* AsBoolean() const { return std::get_if<bool>(&data_); }
  const Date* AsDate() const { return std::get_if<Date>(&data_); }

  // The runtime's text form: text as it is, numbers in up to 15 digits, "True"/"False",
  // dates in the general date form; empty is "".
  std::string Text() const;

  friend bool operator==(const Value& a, const Value& b) { return a.data_ == b.data_; }

 private:
  std::variant<std::monostate, std::string, double, bool, Date> data_;
};

}  // namespace orbitel
