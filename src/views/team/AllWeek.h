#pragma once
// The team week page ("CalendarWeek.asp") and the team user list ("CalendarUserList.asp"):
// seven days, Monday first, each a small table of twelve hour slots with a blue block for
// every busy run.

#include <string_view>

#include "site/PageFrame.h"

namespace orbitel::views {

class AllWeek : public site::DatedPage {
 public:
  AllWeek();

  void GenerateUserList();
  void GenerateCalendar();
  // "True": the user list page's check; "False": the week page's; anything else checks nothing.
  void ValidateUserAccess(std::string_view is_user_list);
};

}  // namespace orbitel::views
