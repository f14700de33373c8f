#pragma once
// The tokenizer of the query language, shared by the expression parser (filters, WHERE) and
// the parser of whole store queries (SELECT "prop" FROM scope('...') WHERE ... ORDER BY "prop").
// It knows no keywords: a keyword is a word the parser compares in any case, so a name written
// in double quotes or brackets is never mistaken for one.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Status.h"

namespace orbitel::data {

struct Token {
  enum class Kind {
    kWord,          // identifier or keyword: letters, digits, '_', ':', '.', '-'
    kQuotedName,    // "double-quoted", text holds the name without quotes ("" for a quote)
    kBracketedName, // [bracketed], text holds the name without brackets (]] for a bracket)
    kText,          // 'single-quoted', text holds the value with '' read as one apostrophe
    kNumber,        // digits with an optional sign, decimal point and exponent, as written
    kLeftParen,
    kRightParen,
    kComma,
    kEqual,
    kNotEqual,      // <>
    kLess,
    kLessOrEqual,
    kGreater,
    kGreaterOrEqual,
    kEnd,           // after the last token; its position is one past the text
  };

  Kind kind = Kind::kEnd;
  std::string text;
  std::size_t position = 1;  // 1-based character position where the token starts

  // A word equal to the keyword in any case.
  bool IsKeyword(std::string_view keyword) const;
};

// The tokens of the text, ending with one kEnd token. Blanks (spaces, tabs, line breaks)
// separate tokens and are otherwise ignored. Fails with errors::kSyntaxError for an unterminated
// text or name and for a character the language does not use.
Result<std::vector<Token>> Tokenize(std::string_view text);

// How an error message shows a token: the word, 'text', "name", or "end of text".
std::string Describe(const Token& token);

// errors::kSyntaxError with "Syntax error at position N: <what>".
Status SyntaxError(std::size_t position, std::string_view what);

}  // namespace orbitel::data
