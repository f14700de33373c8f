#pragma once
// The site's pages by name. Each page makes its page object, starts it with the request's
// context and calls its methods in the page's order — the access check first, and nothing more
// once the check has sent the visitor to the sign-in page — then hands the results to its
// template ("templates/<page name without .asp>.html") under the methods' own names.

#include <memory>
#include <string_view>

#include "host/HttpPageContext.h"
#include "host/SiteTemplates.h"

namespace orbitel::host {

struct SitePage {
  const char* name;           // "CalendarMonth.asp", as the pages link it
  const char* template_name;  // "CalendarMonth"
  void (*run)(const std::shared_ptr<HttpPageContext>& context, PageValues& values);
  // The page is the same for every visitor of one sign-in level (the team and personal
  // calendars), so it can be kept once made.
  bool same_for_level = false;
  // Its text follows the time of day, not only the date (the now page).
  bool follows_the_clock = false;
};

// The page with this name, matched case-blind as the web server matches file names; an empty
// name is the home page. Null for a name the site does not have.
const SitePage* FindSitePage(std::string_view name);

}  // namespace orbitel::host
