#pragma once
// The text codings every part of the program speaks: hex digits, the percent coding of
// addresses, query strings and forms, and the escaping of text put into HTML and XML. (Base64
// is LDIF's: directory/LdifReader.h.)

#include <string>
#include <string_view>

namespace orbitel {

// The value of a hex digit in either case; -1 for any other character.
int HexDigit(char c);

// Each byte as two lower-case hex digits (random tokens, tags and markers).
std::string HexText(std::string_view bytes);

// "%XX" escapes undone (a "%" not followed by two hex digits stays as it is); with
// plus_is_space, a "+" is a blank, as in query strings and posted forms.
std::string PercentDecode(std::string_view text, bool plus_is_space = false);

// Every byte but ASCII letters, digits and the characters in `kept` as "%XX" with upper-case
// hex; with space_as_plus, a blank is "+" (the classic URL encoding of query values).
std::string PercentEncode(std::string_view text, std::string_view kept = "", bool space_as_plus = false);

// Where escaped text goes, which decides what is escaped.
enum class Markup {
  // The pages: exactly &, <, >, " and ' (as &#39;), so text without them is written unchanged.
  kHtml,
  // A single-quoted attribute of a rowset file: &, <, >, ' (as &apos;) and ", and control
  // characters as references, since a parser turns literal ones into spaces.
  kXmlAttribute,
  // The text of an element of a request to a calendar server: &, < and >.
  kXmlText,
};
std::string EscapeMarkup(std::string_view text, Markup markup);
// The same appended to out, for text written into one buffer.
void AppendEscapedMarkup(std::string& out, std::string_view text, Markup markup);

// Text from outside the program (request values, store fields, directory names) as it is
// written into a page.
inline std::string HtmlEscape(std::string_view text) { return EscapeMarkup(text, Markup::kHtml); }
inline void AppendHtmlEscaped(std::string& out, std::string_view text) {
  AppendEscapedMarkup(out, text, Markup::kHtml);
}

}  // namespace orbitel
