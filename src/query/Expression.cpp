#include "query/Expression.h"

#include <algorithm>
#include <compare>
#include <string_view>

#include "query/DataErrors.h"
#include "query/ExpressionParser.h"
#include "query/QueryLexer.h"
#include "query/TokenStream.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"

namespace orbitel::data {
namespace {

using Order = std::optional<std::partial_ordering>;  // nullopt: the values do not compare

std::partial_ordering CompareNumbers(double a, double b) { return a <=> b; }

// The runtime stores True as -1, so Booleans order and compare with numbers that way.
double BooleanNumber(bool flag) { return flag ? -1 : 0; }

std::optional<double> AsNumber(const Value& value) {
  if (const double* number = value.AsNumber()) return *number;
  if (const bool* flag = value.AsBoolean()) return BooleanNumber(*flag);
  if (const Date* date = value.AsDate()) return date->serial();
  return std::nullopt;
}

std::optional<Date> TextAsDate(const std::string& text) {
  if (std::optional<Date> date = ParseIsoDate(text)) return date;
  Result<Date> date = ParseDate(text);
  if (!date.ok()) return std::nullopt;
  return *date;
}

// A text against a typed value: the text is converted to the other's type first.
Order CompareTextWith(const std::string& text, const Value& other) {
  if (const Date* date = other.AsDate()) {
    const std::optional<Date> converted = TextAsDate(text);
    if (!converted) return std::nullopt;
    return *converted <=> *date;
  }
  if (const bool* flag = other.AsBoolean()) {
    Result<bool> converted = ToBoolean(text);
    if (!converted.ok()) return std::nullopt;
    return CompareNumbers(BooleanNumber(*converted), BooleanNumber(*flag));
  }
  Result<double> converted = ToDouble(text);
  if (!converted.ok()) return std::nullopt;
  return CompareNumbers(*converted, *other.AsNumber());
}

Order Reverse(Order order) {
  if (!order) return order;
  if (*order == std::partial_ordering::less) return std::partial_ordering::greater;
  if (*order == std::partial_ordering::greater) return std::partial_ordering::less;
  return order;
}

Order CompareValues(const Value& a, const Value& b) {
  static const std::string kEmptyText;
  // An empty value reads as empty text next to a text, and is merely different from the rest.
  const std::string* a_text = a.IsEmpty() && (b.IsText() || b.IsEmpty()) ? &kEmptyText : a.AsText();
  const std::string* b_text = b.IsEmpty() && (a.IsText() || a.IsEmpty()) ? &kEmptyText : b.AsText();
  if (a_text && b_text) return CompareIgnoringCase(*a_text, *b_text);
  if (a.IsEmpty() || b.IsEmpty()) return std::partial_ordering::unordered;
  if (a_text) return CompareTextWith(*a_text, b);
  if (b_text) return Reverse(CompareTextWith(*b_text, a));
  if (a.IsDate() && b.IsDate()) return *a.AsDate() <=> *b.AsDate();
  return CompareNumbers(*AsNumber(a), *AsNumber(b));
}


// The operand's value, or null for a field the row does not have. A literal is referred to
// where it stands rather than copied, since a filter reads its literals for every row; a
// field's value is kept in `storage`.
const Value* Resolve(const Expression::Operand& operand, const FieldLookup& lookup,
                     std::optional<Value>& storage) {
  if (operand.kind == Expression::Operand::Kind::kLiteral) return &operand.literal;
  storage = lookup(operand.field);
  return storage ? &*storage : nullptr;
}

}  // namespace

bool Holds(Comparison comparison, std::partial_ordering order) {
  switch (comparison) {
    case Comparison::kEqual: return order == 0;
    case Comparison::kNotEqual: return order != 0;
    case Comparison::kLess: return order < 0;
    case Comparison::kLessOrEqual: return order <= 0;
    case Comparison::kGreater: return order > 0;
    case Comparison::kGreaterOrEqual: return order >= 0;
  }
  return false;
}

Result<std::unique_ptr<Expression>> ParseExpression(std::string_view text) {
  Result<std::vector<Token>> tokens = Tokenize(text);
  if (!tokens.ok()) return tokens.status();
  TokenStream stream(std::move(tokens).value());
  auto expression = ExpressionParser(stream).Parse();
  if (!expression.ok()) return expression;
  if (Status end = stream.ExpectEnd(); !end.ok()) return end;
  return expression;
}

// Every operand is evaluated, without short cuts, so an unknown field is reported whatever the
// row holds: a filter that names a missing field fails at once, not on the first odd row.
Result<bool> Evaluate(const Expression& expression, const FieldLookup& lookup) {
  switch (expression.kind) {
    case Expression::Kind::kAnd:
    case Expression::Kind::kOr: {
      const bool is_and = expression.kind == Expression::Kind::kAnd;
      bool result = is_and;
      for (const auto& child : expression.children) {
        Result<bool> value = Evaluate(*child, lookup);
        if (!value.ok()) return value;
        result = is_and ? result && *value : result || *value;
      }
      return result;
    }
    case Expression::Kind::kNot: {
      Result<bool> value = Evaluate(*expression.children.front(), lookup);
      if (!value.ok()) return value;
      return !*value;
    }
    case Expression::Kind::kCompare: {
      std::optional<Value> left_storage, right_storage;
      const Value* left = Resolve(expression.left, lookup, left_storage);
      if (!left) return ItemNotFoundError();
      const Value* right = Resolve(expression.right, lookup, right_storage);
      if (!right) return ItemNotFoundError();
      const Order order = CompareValues(*left, *right);
      return order && Holds(expression.comparison, *order);
    }
  }
  return false;
}

}  // namespace orbitel::data
