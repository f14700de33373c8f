#pragma once
// The personal day page ("CalendarPersonalDay.asp"): one user's appointments of one day, each
// as a block linking to the appointment page.

#include "views/personal/PersonalPage.h"

namespace orbitel::views {

class PerDay : public PersonalPage {
 public:
  PerDay();
  void GenerateCalendar();
};

}  // namespace orbitel::views
