#include "host/ServedSite.h"

#include <algorithm>

#include "runtime/TextCoding.h"

namespace orbitel::host {

bool IsSiteName(std::string_view name) {
  if (name.empty() || name.front() == '.') return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == '.';
  });
}

std::string SiteIndexPage(const std::vector<ServedSite>& sites) {
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Orbitel</title></head><body>\n"
      "<h1>Orbitel</h1>\n<p>The team calendars on this server:</p>\n<ul>\n";
  for (const ServedSite& site : sites) {
    const std::string name = HtmlEscape(site.name);
    html += "<li><a href=\"" + name + "/\">" + name + "</a></li>\n";
  }
  return html + "</ul>\n</body></html>\n";
}

}  // namespace orbitel::host
