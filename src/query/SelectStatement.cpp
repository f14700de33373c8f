#include "query/SelectStatement.h"

#include <string>
#include <utility>
#include <vector>

#include "query/ExpressionParser.h"
#include "query/QueryLexer.h"
#include "query/TokenStream.h"
#include "runtime/Conversions.h"

namespace orbitel::data {
namespace {

// The words of a scope's traversal text before the quoted URL; the depth is accepted and not
// kept, as every folder the pages query is flat.
bool IsTraversalPrefix(std::string_view text) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      if (!word.empty()) words.push_back(ToLower(word));
      word.clear();
    } else {
      word += c;
    }
  }
  if (!word.empty()) words.push_back(ToLower(word));
  return words.size() == 3 && (words[0] == "shallow" || words[0] == "deep") &&
         words[1] == "traversal" && words[2] == "of";
}

// The folder URL out of scope('shallow traversal of "<URL>"'); a text of another shape is a
// syntax error at the text, since the store could not tell which folder is meant.
Result<std::string> ScopeUrlOf(const Token& scope_text) {
  const std::string& text = scope_text.text;
  const std::size_t open = text.find('"');
  const std::size_t close = open == std::string::npos ? open : text.find('"', open + 1);
  if (close == std::string::npos || close == open + 1) {
    return SyntaxError(scope_text.position, "expected a folder URL in double quotes in the scope");
  }
  if (!IsTraversalPrefix(std::string_view(text).substr(0, open))) {
    return SyntaxError(scope_text.position,
                       "expected 'shallow traversal of' or 'deep traversal of' in the scope");
  }
  if (!Trim(std::string_view(text).substr(close + 1)).empty()) {
    return SyntaxError(scope_text.position, "unexpected text after the folder URL in the scope");
  }
  return text.substr(open + 1, close - open - 1);
}

class StatementParser {
 public:
  explicit StatementParser(TokenStream& tokens) : tokens_(tokens), names_(tokens) {}

  Result<SelectStatement> Parse() {
    SelectStatement statement;
    if (Status select = tokens_.ExpectKeyword("SELECT"); !select.ok()) return select;
    if (Status columns = ParseColumns(statement); !columns.ok()) return columns;
    if (Status scope = ParseScope(statement); !scope.ok()) return scope;
    if (tokens_.AcceptKeyword("WHERE")) {
      auto where = names_.Parse();
      if (!where.ok()) return where.status();
      statement.where = std::move(where).value();
    }
    if (tokens_.AcceptKeyword("ORDER")) {
      if (Status by = ParseOrderBy(statement); !by.ok()) return by;
    }
    if (Status end = tokens_.ExpectEnd(); !end.ok()) return end;
    return statement;
  }

 private:
  // A column of the SELECT or ORDER BY list. An unquoted FROM is never a column, so an empty
  // list reports the missing name instead of a missing FROM further on.
  Result<std::string> ParseColumn() {
    if (tokens_.Peek().IsKeyword("FROM")) return tokens_.ErrorExpected("a name");
    return names_.ParseName();
  }

  Status ParseColumns(SelectStatement& statement) {
    do {
      auto column = ParseColumn();
      if (!column.ok()) return column.status();
      statement.columns.push_back(std::move(column).value());
    } while (tokens_.Accept(Token::Kind::kComma));
    return tokens_.Peek().IsKeyword("FROM") ? Status::Ok() : tokens_.ErrorExpected("',' or FROM");
  }

  Status ParseScope(SelectStatement& statement) {
    if (Status from = tokens_.ExpectKeyword("FROM"); !from.ok()) return from;
    if (Status scope = tokens_.ExpectKeyword("scope"); !scope.ok()) return scope;
    if (auto open = tokens_.Expect(Token::Kind::kLeftParen, "'('"); !open.ok()) {
      return open.status();
    }
    auto text = tokens_.Expect(Token::Kind::kText, "the scope in single quotes");
    if (!text.ok()) return text.status();
    auto url = ScopeUrlOf(*text);
    if (!url.ok()) return url.status();
    statement.folder_url = std::move(url).value();
    if (auto close = tokens_.Expect(Token::Kind::kRightParen, "')'"); !close.ok()) {
      return close.status();
    }
    return Status::Ok();
  }

  Status ParseOrderBy(SelectStatement& statement) {
    if (Status by = tokens_.ExpectKeyword("BY"); !by.ok()) return by;
    do {
      SortKey key;
      auto column = ParseColumn();
      if (!column.ok()) return column.status();
      key.property = std::move(column).value();
      if (tokens_.AcceptKeyword("DESC")) {
        key.descending = true;
      } else {
        tokens_.AcceptKeyword("ASC");
      }
      statement.order_by.push_back(std::move(key));
    } while (tokens_.Accept(Token::Kind::kComma));
    return Status::Ok();
  }

  TokenStream& tokens_;
  ExpressionParser names_;
};

}  // namespace

Result<SelectStatement> ParseStatement(std::string_view text) {
  Result<std::vector<Token>> tokens = Tokenize(text);
  if (!tokens.ok()) return tokens.status();
  TokenStream stream(std::move(tokens).value());
  return StatementParser(stream).Parse();
}

}  // namespace orbitel::data
