#include "views/personal/PersonalPage.h"

#include "calendar/CalendarQuery.h"
#include "runtime/TextCoding.h"
#include "site/PageContext.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"

namespace orbitel::views {

namespace {

std::string RequestedUser() {
  const auto& context = site::Site().PageContext;
  return context ? context->RequestText("USER") : std::string();
}

}  // namespace

std::string PersonalPage::ShowNewCalendarItemLink() const {
  return "CalendarItem.asp?UserName=" + HtmlEscape(RequestedUser()) + "&Method=New";
}

calendar::UserCalendar PersonalPage::LoadPersonalCalendar(int days, Date start, const char* period) {
  site::GetSiteVars();
  site::Site().CalendarHtml.clear();
  site::Site().ErrorText.clear();
  calendar::UserCalendar grid({RequestedUser()}, days, 0);
  calendar::GetUsersCalender(grid, start, period);
  return grid;
}

std::string PersonalPage::ShownUser(const calendar::UserCalendar& grid) {
  return HtmlEscape(grid(0, 0, 0));
}

}  // namespace orbitel::views
