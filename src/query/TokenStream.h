#pragma once
// A cursor over the tokens of one query text, with the accept/expect steps every parser of the
// query language makes. The expression parser and the store query parser share one stream, so a
// WHERE clause is parsed in place and the statement parser carries on with ORDER BY.

#include <cstddef>
#include <string_view>
#include <vector>

#include "query/QueryLexer.h"
#include "runtime/Status.h"

namespace orbitel::data {

class TokenStream {
 public:
  // The tokens as Tokenize returns them, ending with kEnd.
  explicit TokenStream(std::vector<Token> tokens);

  // The next token, or one further on; past the end it stays on the kEnd token.
  const Token& Peek(std::size_t ahead = 0) const;
  const Token& Next();
  bool AtEnd() const { return Peek().kind == Token::Kind::kEnd; }

  // Consumes the next token when it is of the kind, or a word equal to the keyword in any case.
  bool Accept(Token::Kind kind);
  bool AcceptKeyword(std::string_view keyword);

  // Consume the expected token, or fail with a syntax error at the token found, saying what
  // was expected ("')'", "AS").
  Result<Token> Expect(Token::Kind kind, std::string_view expected);
  Status ExpectKeyword(std::string_view keyword);
  // Fails unless every token has been read: trailing text is an error.
  Status ExpectEnd();

  // "Syntax error at position N: expected <expected> but found <next token>".
  Status ErrorExpected(std::string_view expected) const;

 private:
  std::vector<Token> tokens_;
  std::size_t next_ = 0;
};

}  // namespace orbitel::data
