#include "host/StatusPages.h"

namespace orbitel::host {

namespace {

struct StatusText {
  int status;
  const char* title;
  const char* explanation;
};

constexpr StatusText kTexts[] = {
    {400, "Bad request", "The browser sent a request this site does not understand."},
    {403, "Form expired",
     "This form was not sent from a page of this site, or it waited so long that the sign-in "
     "expired. Open the page again and send the form once more."},
    {404, "Page not found", "This site has no page of that name."},
    {413, "Request too large", "The form sent was larger than this site accepts."},
    {414, "Address too long", "The page address was longer than this site accepts."},
    {500, "The page could not be shown",
     "Something went wrong while this page was made. The problem has been written to the "
     "server's log; try again, or tell the site's administrator if it persists."},
};

}  // namespace

std::string StatusPage(int status, std::string_view to_site_root) {
  const StatusText* text = &kTexts[std::size(kTexts) - 1];
  for (const StatusText& candidate : kTexts) {
    if (candidate.status == status) text = &candidate;
  }
  if (status < 500 && text->status == 500) text = &kTexts[0];
  return std::string("<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><meta name=\"viewport\" "
         "content=\"width=device-width, initial-scale=1\"><title>") +
         text->title + " - Orbitel</title><link rel=\"stylesheet\" href=\"" + std::string(to_site_root) + "styles/orbitel.css\">"
         "</head><body><div class=\"status-page\"><h1>" + text->title + "</h1><p>" +
         text->explanation + "</p><p><a href=\"" + std::string(to_site_root) + "default.asp\">Go to the calendars</a></p></div>"
         "</body></html>";
}

std::string ToSiteRoot(std::string_view path) {
  std::string back;
  for (std::size_t slash = path.find('/', 1); slash != std::string_view::npos; slash = path.find('/', slash + 1)) {
    back += "../";
  }
  return back;
}

}  // namespace orbitel::host
