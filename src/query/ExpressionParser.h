#pragma once
// The recursive-descent parser of the expression grammar in Expression.h, working on a shared
// token stream so the store query parser can hand it the text after WHERE and carry on with
// what follows (ORDER BY).

#include <memory>
#include <string>

#include "query/Expression.h"
#include "query/TokenStream.h"
#include "runtime/Status.h"

namespace orbitel::data {

class ExpressionParser {
 public:
  explicit ExpressionParser(TokenStream& tokens) : tokens_(tokens) {}

  // One expression from the stream's position. Stops before the first token that cannot
  // continue it and leaves that token for the caller, who decides whether it belongs there.
  Result<std::unique_ptr<Expression>> Parse();

  // A name: a word that is not a keyword, a "quoted" or a [bracketed] name. The statement
  // parser reads its SELECT and ORDER BY lists with it.
  Result<std::string> ParseName();
  // A name, 'text', number, TRUE, FALSE or CAST("value" AS 'type').
  Result<Expression::Operand> ParseOperand();

 private:
  Result<std::unique_ptr<Expression>> ParseOr();
  Result<std::unique_ptr<Expression>> ParseAnd();
  Result<std::unique_ptr<Expression>> ParseNot();
  Result<std::unique_ptr<Expression>> ParsePrimary();
  Result<Value> ParseNumber();
  Result<Value> ParseCast();

  TokenStream& tokens_;
  // Nesting of parentheses and NOTs; bounded so a hostile filter cannot exhaust the stack.
  int depth_ = 0;
};

}  // namespace orbitel::data
