#pragma once
// Text from outside the program (request values, store fields, directory names) is escaped
// where it is written into HTML: exactly these five characters, so text without them is
// written unchanged.

#include <string>
#include <string_view>

namespace orbitel::site {

std::string HtmlEscape(std::string_view text);
// The same appended to escaped, for pages written into one buffer.
void AppendHtmlEscaped(std::string& escaped, std::string_view text);

}  // namespace orbitel::site
