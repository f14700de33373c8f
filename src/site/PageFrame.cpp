#include "site/PageFrame.h"

#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "site/AccessControl.h"
#include "site/Clock.h"
#include "site/DateNavigation.h"
#include "site/PageContext.h"
#include "site/SitePath.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"

namespace orbitel::site {

namespace {
// Each release adds its number here; pages show the last.
constexpr const char* kReleases[] = {"7.1", "7.2", "7.3"};
}  // namespace

void PageFrame::OnStartPage(std::shared_ptr<PageContext> context) {
  SiteState& site = Site();
  site.PageContext = std::move(context);
  try {
    if (site.SitePath.empty()) {
      GetCurrentPath();
      GetSiteVars();
    }
  } catch (...) {
    // A page start never fails: the page renders with whatever state there is.
  }
  if (!page_.reads_requested_date || !site.PageContext) return;
  try {
    auto date = RequestedDateFrom(*site.PageContext, Today());
    if (date.ok()) site.RequestedDate = FormatGeneralDate(*date);
  } catch (...) {
  }
}

std::string PageFrame::ShowDateLink() const {
  return BuildDateLinkQuery(RequestedDateValue(), "");
}

std::string PageFrame::MovedDateLink(int direction) const {
  const Date shown = RequestedDateValue();
  Result<Date> moved = shown;
  switch (page_.step) {
    case DateStep::kDay: moved = shown.AddDays(direction); break;
    case DateStep::kWeek: moved = shown.AddDays(7 * direction); break;
    case DateStep::kMonth: moved = shown.AddMonths(direction); break;
    case DateStep::kNone: break;
  }
  return std::string(page_.page_name) + BuildDateLinkQuery(moved.value_or(shown), "");
}

std::string PageFrame::ShowPreviousDate() const { return MovedDateLink(-1); }

std::string PageFrame::ShowNextDate() const { return MovedDateLink(1); }

std::string PageFrame::ShowCurrentDate() const { return FormatLongDate(RequestedDateValue()); }

std::string PageFrame::ShowCurrentVersion() const { return std::end(kReleases)[-1]; }

std::string PageFrame::PrintGenerateErrors() const { return Site().ErrorText; }

std::string PageFrame::PrintCalendar() const { return Site().CalendarHtml; }

void PageFrame::CheckPageAccess() const { CheckAccess(page_.access_level, page_.page_name); }

}  // namespace orbitel::site
