#include "query/QueryLexer.h"

#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
// Bytes of multi-byte UTF-8 characters count as letters, so names in any script read as words.
bool IsWordStart(char c) { return IsLetter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80; }
bool IsWordPart(char c) {
  return IsWordStart(c) || IsDigit(c) || c == ':' || c == '.' || c == '-';
}
bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }

class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  Result<std::vector<Token>> Run() {
    std::vector<Token> tokens;
    for (;;) {
      while (at_ < text_.size() && IsBlank(text_[at_])) ++at_;
      if (at_ == text_.size()) break;
      Result<Token> token = Next();
      if (!token.ok()) return token.status();
      tokens.push_back(std::move(token).value());
    }
    tokens.push_back(Token{Token::Kind::kEnd, "", Position(text_.size())});
    return tokens;
  }

 private:
  // Positions count characters, not bytes: continuation bytes of UTF-8 are skipped. Tokens
  // start in order, so counting resumes from the last position asked for.
  std::size_t Position(std::size_t offset) {
    for (; counted_offset_ < offset; ++counted_offset_) {
      if ((static_cast<unsigned char>(text_[counted_offset_]) & 0xC0) != 0x80) ++counted_chars_;
    }
    return counted_chars_ + 1;
  }

  Token Make(Token::Kind kind, std::size_t start, std::string text) {
    return Token{kind, std::move(text), Position(start)};
  }

  bool Peek(std::size_t ahead, char c) const {
    return at_ + ahead < text_.size() && text_[at_ + ahead] == c;
  }

  Result<Token> Next() {
    const std::size_t start = at_;
    const char c = text_[at_];
    switch (c) {
      case '(': ++at_; return Make(Token::Kind::kLeftParen, start, "(");
      case ')': ++at_; return Make(Token::Kind::kRightParen, start, ")");
      case ',': ++at_; return Make(Token::Kind::kComma, start, ",");
      case '=': ++at_; return Make(Token::Kind::kEqual, start, "=");
      case '<':
        if (Peek(1, '>')) { at_ += 2; return Make(Token::Kind::kNotEqual, start, "<>"); }
        if (Peek(1, '=')) { at_ += 2; return Make(Token::Kind::kLessOrEqual, start, "<="); }
        ++at_;
        return Make(Token::Kind::kLess, start, "<");
      case '>':
        if (Peek(1, '=')) { at_ += 2; return Make(Token::Kind::kGreaterOrEqual, start, ">="); }
        ++at_;
        return Make(Token::Kind::kGreater, start, ">");
      case '\'': return Quoted(Token::Kind::kText, '\'', "unterminated text");
      case '"': return Quoted(Token::Kind::kQuotedName, '"', "unterminated quoted name");
      case '[': return Quoted(Token::Kind::kBracketedName, ']', "unterminated bracketed name");
      default: break;
    }
    if (StartsNumber()) return Number();
    if (IsWordStart(c)) {
      while (at_ < text_.size() && IsWordPart(text_[at_])) ++at_;
      return Make(Token::Kind::kWord, start, std::string(text_.substr(start, at_ - start)));
    }
    return SyntaxError(Position(start), std::string("unexpected character '") + c + "'");
  }

  // A closing character written twice stands for itself, as '' does in SQL texts.
  Result<Token> Quoted(Token::Kind kind, char close, std::string_view unterminated) {
    const std::size_t start = at_++;
    std::string value;
    for (;;) {
      if (at_ == text_.size()) return SyntaxError(Position(start), unterminated);
      const char c = text_[at_++];
      if (c != close) {
        value += c;
      } else if (at_ < text_.size() && text_[at_] == close) {
        value += close;
        ++at_;
      } else {
        return Make(kind, start, std::move(value));
      }
    }
  }

  bool StartsNumber() const {
    std::size_t i = at_;
    if (text_[i] == '+' || text_[i] == '-') ++i;
    if (i < text_.size() && text_[i] == '.') ++i;
    return i < text_.size() && IsDigit(text_[i]);
  }

  Result<Token> Number() {
    const std::size_t start = at_;
    if (text_[at_] == '+' || text_[at_] == '-') ++at_;
    while (at_ < text_.size() && IsDigit(text_[at_])) ++at_;
    if (at_ < text_.size() && text_[at_] == '.') {
      ++at_;
      while (at_ < text_.size() && IsDigit(text_[at_])) ++at_;
    }
    if (at_ < text_.size() && (text_[at_] == 'e' || text_[at_] == 'E')) {
      std::size_t i = at_ + 1;
      if (i < text_.size() && (text_[i] == '+' || text_[i] == '-')) ++i;
      if (i < text_.size() && IsDigit(text_[i])) {
        at_ = i;
        while (at_ < text_.size() && IsDigit(text_[at_])) ++at_;
      }
    }
    return Make(Token::Kind::kNumber, start, std::string(text_.substr(start, at_ - start)));
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t counted_offset_ = 0;
  std::size_t counted_chars_ = 0;
};

}  // namespace

bool Token::IsKeyword(std::string_view keyword) const {
  return kind == Kind::kWord && text.size() == keyword.size() && ToUpper(text) == ToUpper(keyword);
}

Result<std::vector<Token>> Tokenize(std::string_view text) { return Lexer(text).Run(); }

std::string Describe(const Token& token) {
  switch (token.kind) {
    case Token::Kind::kEnd: return "end of text";
    case Token::Kind::kText: return "'" + token.text + "'";
    case Token::Kind::kQuotedName: return "\"" + token.text + "\"";
    case Token::Kind::kBracketedName: return "[" + token.text + "]";
    default: return token.text;
  }
}

Status SyntaxError(std::size_t position, std::string_view what) {
  return Status::Error(errors::kSyntaxError,
                       "Syntax error at position " + std::to_string(position) + ": " +
                           std::string(what));
}

}  // namespace orbitel::data
