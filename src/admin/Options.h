#pragma once
// The options page's object ("CalendarOptions.asp"): the settings form's values and their
// saving, the table of the directory's people to include, and the installation check. The
// sign-in page ("CalendarLogin.asp") uses it too: Login checks the typed name and password
// against the settings' two accounts.

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

  // When the request's "action" is "Save Changes": writes the nine posted settings into the
  // settings file and the ticked "AddUser" accounts into the users file, then reloads the
  // settings. Returns "Status: Saved", the error-saving text, or "" when nothing was asked.
  std::string SaveOptionChanges();
  // The directory's people, one check box each, ticked for those the users file includes.
  std::string PrintUsers();

  // The loaded settings as they stand, for the form's fields (not escaped).
  std::string GetExchangeDomain() const;
  std::string GetLocationEntry() const;
  std::string GetLocationNoEntry() const;
  std::string GetUserUserName() const;
  std::string GetUserPassword() const;
  std::string GetAdminUserName() const;
  std::string GetAdminPassword() const;
  // "checked" for the radio button that matches the setting: yes for the local store's
  // connection (ExchangeViaBackoffice), and for showing locations (anything but "No").
  std::string ShowExchangeConnectionMethod(bool yes) const;
  std::string ShowLocation(bool yes) const;

  // The installation check's table, a row per probe. Running it ends the visitor's sign-in.
  std::string SiteCheck();
  bool bolCheckASP();
  bool bolCheckASPSession();
  bool bolCheckMDAC();
  bool bolCheckXMLPermissions();
  bool bolCheckXMLFile(const std::string& file_name);
  bool bolExchangeCDO();
  bool bolCheckExchangeServer();
  bool bolCheckActiveDs();
  bool bolCheckDomain();
};

}  // namespace orbitel::admin
