#pragma once
// What the personal day, week and month pages share: the page frame with every shared method,
// the new-appointment link, and the start of each generator (settings, emptied output, and a
// one-user calendar for the request's "USER" filled from the store).

#include <string>

#include "calendar/UserCalendar.h"
#include "runtime/Date.h"
#include "site/PageFrame.h"

namespace orbitel::views {

class PersonalPage : public site::DatedPage {
 public:
  // "CalendarItem.asp?UserName=<the request's USER>&Method=New".
  std::string ShowNewCalendarItemLink() const;
  void ValidateUserAccess() { CheckPageAccess(); }

 protected:
  using DatedPage::DatedPage;

  // Loads the settings, empties CalendarHtml and ErrorText, and returns the request's user's
  // calendar with day cells 0..days filled for the period from `start`.
  static calendar::UserCalendar LoadPersonalCalendar(int days, Date start, const char* period);
  // The request's "USER", as the page writes it into its heading.
  static std::string ShownUser(const calendar::UserCalendar& grid);
};

}  // namespace orbitel::views
