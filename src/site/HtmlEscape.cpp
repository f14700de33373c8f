#include "site/HtmlEscape.h"

namespace orbitel::site {

std::string HtmlEscape(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  AppendHtmlEscaped(escaped, text);
  return escaped;
}

void AppendHtmlEscaped(std::string& escaped, std::string_view text) {
  for (char c : text) {
    switch (c) {
      case '&': escaped += "&amp;"; break;
      case '<': escaped += "&lt;"; break;
      case '>': escaped += "&gt;"; break;
      case '"': escaped += "&quot;"; break;
      case '\'': escaped += "&#39;"; break;
      default: escaped += c;
    }
  }
}

}  // namespace orbitel::site
