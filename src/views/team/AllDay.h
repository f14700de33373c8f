#pragma once
// The team day page ("CalendarDay.asp"): one row per included user of 24 half-hour slots from
// 7:00 to 19:00, each busy run one blue cell spanning it.

#include "site/PageFrame.h"

namespace orbitel::views {

class AllDay : public site::DatedPage {
 public:
  AllDay();

  void GenerateCalendar();
  void ValidateUserAccess() { CheckPageAccess(); }
};

}  // namespace orbitel::views
