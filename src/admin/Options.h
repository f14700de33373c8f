#pragma once
// The options page's object ("CalendarOptions.asp"). The sign-in page ("CalendarLogin.asp") uses
// it too: Login checks the typed name and password against the settings' two accounts. The
// settings and user list editing arrive with the options page itself.

#include <string>

#include "site/PageFrame.h"

namespace orbitel::admin {

class Options : public site::PageFrame {
 public:
  Options();

  using PageFrame::ShowCurrentDate;
  using PageFrame::ShowCurrentVersion;
  using PageFrame::ShowDateLink;

  // Runs only when the request's "action" is "Login": compares "cstrUserName" and
  // "cstrPassword" case-blind with the team account first, then the administrator's; on a match
  // records "User" or "Admin" under the session's "SessionID" and redirects to "ReturnUrl" (or
  // "default.asp"). Returns the message for the sign-in page, empty when there is none.
  std::string Login();
  // Reloads the settings, then lets only the administrator stay.
  void ValidateAdminAccess();
};

}  // namespace orbitel::admin
