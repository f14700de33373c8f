#pragma once
// The team now page ("CalendarNow.asp"): one tile per included user, five to a row, showing
// what the user's calendar says at the present half hour.

#include "site/PageFrame.h"

namespace orbitel::views {

class AllNow : public site::PageFrame {
 public:
  AllNow();

  void GenerateCalendar();
  using PageFrame::PrintCalendar;
  using PageFrame::PrintGenerateErrors;
  using PageFrame::ShowDateLink;
  using PageFrame::ShowCurrentVersion;
  using PageFrame::ShowCurrentDate;
  void ValidateUserAccess() { CheckPageAccess(); }
};

}  // namespace orbitel::views
