#pragma once
// The expression part of the query language: what follows WHERE in a store query and what a
// recordset Filter holds ("Users = 'alice'"). Grammar:
//
//   expr       := or
//   or         := and { OR and }
//   and        := not { AND not }
//   not        := NOT not | primary
//   primary    := '(' expr ')' | operand op operand
//   op         := '=' | '<>' | '<' | '<=' | '>' | '>='
//   operand    := name | 'text' (with '' for an apostrophe) | number
//               | CAST ( "text" AS 'type' ) | TRUE | FALSE
//   name       := identifier (letters, digits, '_', ':', '.', '-') | "double-quoted" | [bracketed]
//
// Keywords are matched in any case. Text comparisons ignore case, as the mail store's and the
// rowset's do. A parse error reports the 1-based character position where the text went wrong.
// Parsed trees are immutable and may be evaluated from any thread.

#include <compare>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Status.h"
#include "runtime/Value.h"

namespace orbitel::data {

enum class Comparison { kEqual, kNotEqual, kLess, kLessOrEqual, kGreater, kGreaterOrEqual };

struct Expression {
  enum class Kind { kAnd, kOr, kNot, kCompare };
  struct Operand {
    enum class Kind { kField, kLiteral };
    Kind kind = Kind::kLiteral;
    std::string field;  // kField: the property or field name, unquoted
    Value literal;      // kLiteral: text, number, Boolean or (from CAST ... 'dateTime') date
  };

  Kind kind = Kind::kCompare;
  std::vector<std::unique_ptr<Expression>> children;  // kAnd, kOr: two or more; kNot: one
  Comparison comparison = Comparison::kEqual;          // kCompare
  Operand left, right;                                 // kCompare
};

// Whether an ordering of left against right satisfies the comparison (unordered never does).
bool Holds(Comparison comparison, std::partial_ordering order);

// Looks a field's value up in the current row; nullopt when the row has no such field.
using FieldLookup = std::function<std::optional<Value>(std::string_view name)>;

// A failed parse carries errors::kSyntaxError and a description with the position.
Result<std::unique_ptr<Expression>> ParseExpression(std::string_view text);

// Evaluates against one row. An unknown field is an error (errors::kItemNotFoundInCollection).
// Comparing a text with a number or date converts the text first; a text that does not convert
// makes the comparison false. An empty value equals only an empty value or empty text.
Result<bool> Evaluate(const Expression& expression, const FieldLookup& lookup);

}  // namespace orbitel::data
