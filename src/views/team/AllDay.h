#pragma once
// The team day page ("CalendarDay.asp"): one row per included user of 24 half-hour slots from
// 7:00 to 19:00, each busy run one blue cell spanning it.

#include "site/PageFrame.h"

namespace orbitel::views {

class AllDay : public site::PageFrame {
 public:
  AllDay();

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
