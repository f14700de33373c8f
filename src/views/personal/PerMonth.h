#pragma once
// The personal month page ("CalendarPersonalMonth.asp"): one user's month in rows of seven
// days counted from the 1st (not calendar weeks: the weekday names say which day is which).

#include "views/personal/PersonalPage.h"

namespace orbitel::views {

class PerMonth : public PersonalPage {
 public:
  PerMonth();
  void GenerateCalendar();
};

}  // namespace orbitel::views
