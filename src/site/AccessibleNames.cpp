#include "site/AccessibleNames.h"

#include "runtime/TextCoding.h"
#include "site/DateHelpers.h"

namespace orbitel::site {

std::string PictureName(std::string_view text) {
  const std::string escaped = HtmlEscape(text);
  return " alt=\"" + escaped + "\" title=\"" + escaped + "\"";
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
