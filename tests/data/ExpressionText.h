#pragma once
// A parsed WHERE or filter in prefix form, so that a table row states the whole parse at a glance:
// (AND (>= dtstart #2003-11-03T00:00:01#) (<> busystatus 'Free')).

#include <string>

#include "data/Expression.h"
#include "data/IsoDate.h"

namespace orbitel::data::testing {

inline std::string Show(const Expression::Operand& operand) {
  if (operand.kind == Expression::Operand::Kind::kField) return operand.field;
  const Value& value = operand.literal;
  if (value.IsText()) return "'" + *value.AsText() + "'";
  if (value.IsBoolean()) return *value.AsBoolean() ? "TRUE" : "FALSE";
  if (value.IsDate()) return "#" + FormatIsoDate(*value.AsDate()) + "#";
  return value.Text();
}

inline std::string Show(const Expression* expression) {
  if (!expression) return "";
  static const char* const kOperators[] = {"=", "<>", "<", "<=", ">", ">="};
  switch (expression->kind) {
    case Expression::Kind::kCompare:
      return std::string("(") + kOperators[static_cast<int>(expression->comparison)] + " " +
             Show(expression->left) + " " + Show(expression->right) + ")";
    case Expression::Kind::kNot:
      return "(NOT " + Show(expression->children[0].get()) + ")";
    default: {
      std::string out = expression->kind == Expression::Kind::kAnd ? "(AND" : "(OR";
      for (const auto& child : expression->children) out += " " + Show(child.get());
      return out + ")";
    }
  }
}

}  // namespace orbitel::data::testing
