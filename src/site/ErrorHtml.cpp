#include "site/ErrorHtml.h"

namespace orbitel::site {

std::string ErrorHtml(std::string_view message_html) {
  std::string html = "<font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"2\"><b>ERROR:</b> ";
  html += message_html;
  html += "</font><br>";
  return html;
}

std::string NoDomainError() {
  return ErrorHtml(
      "No domain was found on this computer. Please make sure that this computer is on a domain "
      "and try again.");
}

}  // namespace orbitel::site
