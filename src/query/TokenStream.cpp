#include "query/TokenStream.h"

#include <string>
#include <utility>

namespace orbitel::data {

TokenStream::TokenStream(std::vector<Token> tokens) : tokens_(std::move(tokens)) {
  // A stream always ends on kEnd, so Peek never has to check the size twice.
  if (tokens_.empty() || tokens_.back().kind != Token::Kind::kEnd) tokens_.push_back(Token{});
}

const Token& TokenStream::Peek(std::size_t ahead) const {
  const std::size_t at = next_ + ahead;
  return at < tokens_.size() ? tokens_[at] : tokens_.back();
}

const Token& TokenStream::Next() {
  const Token& token = Peek();
  if (next_ + 1 < tokens_.size()) ++next_;
  return token;
}

bool TokenStream::Accept(Token::Kind kind) {
  if (Peek().kind != kind) return false;
  Next();
  return true;
}

bool TokenStream::AcceptKeyword(std::string_view keyword) {
  if (!Peek().IsKeyword(keyword)) return false;
  Next();
  return true;
}

Result<Token> TokenStream::Expect(Token::Kind kind, std::string_view expected) {
  if (Peek().kind != kind) return ErrorExpected(expected);
  return Next();
}

Status TokenStream::ExpectKeyword(std::string_view keyword) {
  return AcceptKeyword(keyword) ? Status::Ok() : ErrorExpected(keyword);
}

Status TokenStream::ExpectEnd() { return AtEnd() ? Status::Ok() : ErrorExpected("end of text"); }

Status TokenStream::ErrorExpected(std::string_view expected) const {
  return SyntaxError(Peek().position,
                     "expected " + std::string(expected) + " but found " + Describe(Peek()));
}

}  // namespace orbitel::data
