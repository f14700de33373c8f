#include "host/RedirectGuard.h"

#include <cctype>

namespace orbitel::host {

namespace {

bool LeavesSite(std::string_view url) {
  if (url.empty()) return true;
  // Browsers skip leading blanks and read "\" as "/", so "/\host" and " //host" are other sites;
  // control characters could split the response header.
  for (unsigned char c : url) {
    if (c < 0x20 || c == 0x7F) return true;
  }
  if (std::isspace(static_cast<unsigned char>(url.front()))) return true;
  const auto is_slash = [](char c) { return c == '/' || c == '\\'; };
  if (url.size() >= 2 && is_slash(url[0]) && is_slash(url[1])) return true;
  // A scheme ("http:", "javascript:") comes before any "/", "?" or "#".
  const std::size_t colon = url.find(':');
  return colon != std::string_view::npos && url.substr(0, colon).find_first_of("/?#") == std::string_view::npos;
}

}  // namespace

std::string GuardRedirect(std::string_view url) {
  return LeavesSite(url) ? std::string(kHomePage) : std::string(url);
}

}  // namespace orbitel::host
