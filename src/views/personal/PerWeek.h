#pragma once
// The personal week page ("CalendarPersonalWeek.asp"): one user's week, Monday to Sunday, a
// column a day headed by a link to that day's personal page.

#include "views/personal/PersonalPage.h"

namespace orbitel::views {

class PerWeek : public PersonalPage {
 public:
  PerWeek();
  void GenerateCalendar();
};

}  // namespace orbitel::views
