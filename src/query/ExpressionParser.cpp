#include "query/ExpressionParser.h"

#include <charconv>
#include <utility>

#include "runtime/Conversions.h"
#include "runtime/DateText.h"

namespace orbitel::data {
namespace {

constexpr int kMaxDepth = 200;
constexpr std::string_view kOperandExpected = "a name, text or number";

bool IsReserved(const Token& token) {
  return token.IsKeyword("AND") || token.IsKeyword("OR") || token.IsKeyword("NOT");
}

std::optional<Comparison> ComparisonOf(Token::Kind kind) {
  switch (kind) {
    case Token::Kind::kEqual: return Comparison::kEqual;
    case Token::Kind::kNotEqual: return Comparison::kNotEqual;
    case Token::Kind::kLess: return Comparison::kLess;
    case Token::Kind::kLessOrEqual: return Comparison::kLessOrEqual;
    case Token::Kind::kGreater: return Comparison::kGreater;
    case Token::Kind::kGreaterOrEqual: return Comparison::kGreaterOrEqual;
    default: return std::nullopt;
  }
}

// The store's property types a CAST may name, grouped by the value they make.
enum class CastKind { kText, kNumber, kBoolean, kDate };

std::optional<CastKind> CastKindOf(std::string_view type) {
  const std::string name = ToLower(type);
  if (name == "string" || name == "uri" || name == "uuid") return CastKind::kText;
  if (name == "boolean") return CastKind::kBoolean;
  if (name == "datetime" || name == "datetime.tz" || name == "date") return CastKind::kDate;
  for (const char* number : {"i1", "i2", "i4", "i8", "int", "ui1", "ui2", "ui4", "ui8", "r4",
                             "r8", "float", "number", "fixed.14.4"}) {
    if (name == number) return CastKind::kNumber;
  }
  return std::nullopt;
}

// Joins a run of AND or OR operands into one node with every operand as a child.
std::unique_ptr<Expression> Join(Expression::Kind kind, std::unique_ptr<Expression> left,
                                 std::unique_ptr<Expression> right) {
  if (left->kind != kind) {
    auto node = std::make_unique<Expression>();
    node->kind = kind;
    node->children.push_back(std::move(left));
    left = std::move(node);
  }
  left->children.push_back(std::move(right));
  return left;
}

}  // namespace

Result<std::unique_ptr<Expression>> ExpressionParser::Parse() { return ParseOr(); }

Result<std::unique_ptr<Expression>> ExpressionParser::ParseOr() {
  auto left = ParseAnd();
  if (!left.ok()) return left;
  std::unique_ptr<Expression> result = std::move(left).value();
  while (tokens_.AcceptKeyword("OR")) {
    auto right = ParseAnd();
    if (!right.ok()) return right;
    result = Join(Expression::Kind::kOr, std::move(result), std::move(right).value());
  }
  return result;
}

Result<std::unique_ptr<Expression>> ExpressionParser::ParseAnd() {
  auto left = ParseNot();
  if (!left.ok()) return left;
  std::unique_ptr<Expression> result = std::move(left).value();
  while (tokens_.AcceptKeyword("AND")) {
    auto right = ParseNot();
    if (!right.ok()) return right;
    result = Join(Expression::Kind::kAnd, std::move(result), std::move(right).value());
  }
  return result;
}

Result<std::unique_ptr<Expression>> ExpressionParser::ParseNot() {
  if (!tokens_.Peek().IsKeyword("NOT")) return ParsePrimary();
  if (depth_ >= kMaxDepth) return SyntaxError(tokens_.Peek().position, "nested too deeply");
  tokens_.Next();
  ++depth_;
  auto operand = ParseNot();
  --depth_;
  if (!operand.ok()) return operand;
  auto node = std::make_unique<Expression>();
  node->kind = Expression::Kind::kNot;
  node->children.push_back(std::move(operand).value());
  return node;
}

Result<std::unique_ptr<Expression>> ExpressionParser::ParsePrimary() {
  if (tokens_.Peek().kind == Token::Kind::kLeftParen) {
    if (depth_ >= kMaxDepth) return SyntaxError(tokens_.Peek().position, "nested too deeply");
    tokens_.Next();
    ++depth_;
    auto inner = ParseOr();
    --depth_;
    if (!inner.ok()) return inner;
    if (auto close = tokens_.Expect(Token::Kind::kRightParen, "')'"); !close.ok()) {
      return close.status();
    }
    return inner;
  }

  auto node = std::make_unique<Expression>();
  node->kind = Expression::Kind::kCompare;
  auto left = ParseOperand();
  if (!left.ok()) return left.status();
  node->left = std::move(left).value();
  const std::optional<Comparison> comparison = ComparisonOf(tokens_.Peek().kind);
  if (!comparison) return tokens_.ErrorExpected("a comparison operator");
  tokens_.Next();
  node->comparison = *comparison;
  auto right = ParseOperand();
  if (!right.ok()) return right.status();
  node->right = std::move(right).value();
  return node;
}

Result<std::string> ExpressionParser::ParseName() {
  const Token& token = tokens_.Peek();
  const bool name = token.kind == Token::Kind::kQuotedName ||
                    token.kind == Token::Kind::kBracketedName ||
                    (token.kind == Token::Kind::kWord && !IsReserved(token));
  if (!name) return tokens_.ErrorExpected("a name");
  return tokens_.Next().text;
}

Result<Expression::Operand> ExpressionParser::ParseOperand() {
  const Token& token = tokens_.Peek();
  Expression::Operand operand;
  switch (token.kind) {
    case Token::Kind::kText:
      operand.literal = Value(tokens_.Next().text);
      return operand;
    case Token::Kind::kNumber: {
      auto number = ParseNumber();
      if (!number.ok()) return number.status();
      operand.literal = std::move(number).value();
      return operand;
    }
    case Token::Kind::kWord:
      if (token.IsKeyword("TRUE") || token.IsKeyword("FALSE")) {
        operand.literal = Value(tokens_.Next().IsKeyword("TRUE"));
        return operand;
      }
      if (token.IsKeyword("CAST")) {
        auto cast = ParseCast();
        if (!cast.ok()) return cast.status();
        operand.literal = std::move(cast).value();
        return operand;
      }
      if (IsReserved(token)) return tokens_.ErrorExpected(kOperandExpected);
      [[fallthrough]];
    case Token::Kind::kQuotedName:
    case Token::Kind::kBracketedName:
      operand.kind = Expression::Operand::Kind::kField;
      operand.field = tokens_.Next().text;
      return operand;
    default:
      return tokens_.ErrorExpected(kOperandExpected);
  }
}

Result<Value> ExpressionParser::ParseNumber() {
  const Token& token = tokens_.Next();
  std::string_view digits = token.text;
  if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
  double number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) {
    return SyntaxError(token.position, "number " + token.text + " is out of range");
  }
  return Value(number);
}

// CAST("2003-11-03T00:00:01Z" AS 'dateTime'): the mail store's way of writing a typed literal.
// The value comes double-quoted in the store's queries; a 'text' is taken as well.
Result<Value> ExpressionParser::ParseCast() {
  tokens_.Next();
  if (auto open = tokens_.Expect(Token::Kind::kLeftParen, "'('"); !open.ok()) return open.status();
  const Token& next = tokens_.Peek();
  if (next.kind != Token::Kind::kQuotedName && next.kind != Token::Kind::kText) {
    return tokens_.ErrorExpected("a quoted value");
  }
  const Token value = tokens_.Next();
  if (Status as = tokens_.ExpectKeyword("AS"); !as.ok()) return as;
  const Token& type_token = tokens_.Peek();
  if (type_token.kind != Token::Kind::kText && type_token.kind != Token::Kind::kQuotedName) {
    return tokens_.ErrorExpected("a quoted type name");
  }
  const Token type = tokens_.Next();
  if (auto close = tokens_.Expect(Token::Kind::kRightParen, "')'"); !close.ok()) {
    return close.status();
  }

  const std::optional<CastKind> kind = CastKindOf(type.text);
  if (!kind) return SyntaxError(type.position, "unknown type " + Describe(type));
  const std::string cannot = "cannot convert " + Describe(value) + " to " + type.text;
  switch (*kind) {
    case CastKind::kText:
      return Value(value.text);
    case CastKind::kNumber: {
      Result<double> number = ToDouble(value.text);
      if (!number.ok()) return SyntaxError(value.position, cannot);
      return Value(*number);
    }
    case CastKind::kBoolean: {
      Result<bool> flag = ToBoolean(value.text);
      if (!flag.ok()) return SyntaxError(value.position, cannot);
      return Value(*flag);
    }
    case CastKind::kDate: {
      if (std::optional<Date> date = ParseIsoDate(value.text)) return Value(*date);
      Result<Date> date = ParseDate(value.text);
      if (!date.ok()) return SyntaxError(value.position, cannot);
      return Value(*date);
    }
  }
  return SyntaxError(type.position, "unknown type " + Describe(type));
}

}  // namespace orbitel::data
