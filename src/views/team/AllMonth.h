#pragma once
// The team month page ("CalendarMonth.asp"): one row per included user, one narrow cell per
// day of the month, marked on the days the user has an appointment.

#include "site/PageFrame.h"

namespace orbitel::views {

class AllMonth : public site::DatedPage {
 public:
  AllMonth();

  void GenerateCalendar();
  void ValidateUserAccess() { CheckPageAccess(); }
};

}  // namespace orbitel::views
