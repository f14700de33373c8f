#include "site/AccessibleNames.h"

#include "runtime/TextCoding.h"
#include "site/DateHelpers.h"

namespace orbitel::site {

std::string PictureName(std::string_view text) {
  std::string name;
  AppendPictureName(name, {text});
  return name;
}

void AppendPictureName(std::string& html, std::initializer_list<std::string_view> text) {
  html += " alt=\"";
  const std::size_t start = html.size();
  for (const std::string_view piece : text) AppendHtmlEscaped(html, piece);
  const std::size_t length = html.size() - start;
  // Room for the second copy first, so copying from the text itself never reads a buffer that
  // was let go.
  html.reserve(html.size() + length + 10);
  html += "\" title=\"";
  html.append(html.data() + start, length);
  html += '"';
}

std::string ControlName(std::string_view text) { return " aria-label=\"" + HtmlEscape(text) + "\""; }

std::string_view BusyStatusWords(std::string_view status) {
  if (status == "BUSY") return "Busy";
  if (status == "TENTATIVE") return "Tentative";
  if (status == "OOF") return "Out of the office";
  if (status == "FREE") return "Free";
  return "";
}

std::string SpokenDay(Date date) {
  return DayName(date, 1) + " " + std::to_string(date.Day()) + " " + MonthName(date);
}

}  // namespace orbitel::site
