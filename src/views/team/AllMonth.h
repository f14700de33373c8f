#pragma once
// The team month page ("CalendarMonth.asp"): one row per included user, one narrow cell per
// day of the month, marked on the days the user has an appointment.

#include "site/PageFrame.h"

namespace orbitel::views {

class AllMonth : public site::PageFrame {
 public:
  AllMonth();

  void GenerateCalendar();
  using PageFrame::PrintCalendar;
  using PageFrame::PrintGenerateErrors;
  using PageFrame::ShowDateLink;
  using PageFrame::ShowCurrentVersion;
  using PageFrame::ShowPreviousDate;
  using PageFrame::ShowNextDate;
  using PageFrame::ShowCurrentDate;
  void ValidateUserAccess() { CheckPageAccess(); }
};

}  // namespace orbitel::views
