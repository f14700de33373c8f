// The options page's writing side: the settings form saved into the settings file, the ticked
// people into the users file, and the table of people to tick.
#include "admin/Options.h"
#include "recordset/AtomicFile.h"
#include "recordset/RowsetFile.h"
#include "runtime/Conversions.h"
#include "runtime/TextCoding.h"
#include "site/AccessibleNames.h"
#include "site/DomainDirectory.h"
#include "site/ErrorHandler.h"
#include "site/PageContext.h"
#include "site/SiteFiles.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"
#include "site/UserList.h"

namespace orbitel::admin {

namespace {

constexpr const char* kSaved = "Status: Saved";
constexpr const char* kNotSaved =
    "Status: Error Saving. Please check permissions on the xml files. Also check the "
    "documentation provided with Quillon Orbitel for more information.";

// The settings file's fields and the form fields that fill them, in the order they are set.
constexpr std::pair<const char*, const char*> kSettingFields[] = {
    {"ExchangeServerName", "cstrExchangeDomain"},
    {"ExchangeViaBackoffice", "cstrExchangeConnectionMethod"},
    {"ShowLocation", "cstrShowLocation"},
    {"LocationEntry", "cstrLocationEntry"},
    {"LocationNoEntry", "cstrLocationNoEntry"},
    {"UserUserName", "cstrUserUserName"},
    {"UserPassword", "cstrUserPassword"},
    {"AdminUserName", "cstrAdminUserName"},
    {"AdminPassword", "cstrAdminPassword"},
};

std::string RequestValue(std::string_view key) {
  const auto& context = site::Site().PageContext;
  return context ? context->RequestText(key) : std::string();
}

// The browser posts the ticked boxes' values joined with ", "; no box ticked is one empty part.
site::UserList TickedAccounts() {
  site::UserList accounts;
  const std::string posted = RequestValue("AddUser");
  std::size_t start = 0;
  while (true) {
    const std::size_t comma = posted.find(',', start);
    accounts.push_back(Trim(std::string_view(posted).substr(start, comma - start)));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return accounts;
}

}  // namespace

std::string Options::SaveOptionChanges() {
  std::string result;
  site::RunLogged("Options.SaveOptionChanges", [&result]() -> Status {
    if (RequestValue("action") != "Save Changes") return Status::Ok();
    // Set before any file is touched, so a failure part way says so.
    result = kNotSaved;
    const std::string path = site::files::InSite(site::Site().SitePath, site::files::kSettings);
    Status status = Status::Ok();
    {
      // Both files are one save: no reader sees this save's settings with another's people.
      data::FileLock write_together(site::files::InSite(site::Site().SitePath, site::files::kSettingsLock),
                                    data::FileLock::Mode::kExclusive);
      data::Recordset settings;
      status = data::OpenRowsetFile(path, settings);
      for (const auto& [field, form_field] : kSettingFields) {
        if (status.ok()) status = settings.SetField(field, RequestValue(form_field));
      }
      if (status.ok()) status = settings.Update();
      if (status.ok()) status = data::SaveRowsetFile(settings, path);
      if (status.ok()) status = site::SaveUsers(TickedAccounts());
    }
    if (!status.ok()) return status;
    result = kSaved;
    site::GetSiteVars();
    return Status::Ok();
  });
  return result;
}

std::string Options::PrintUsers() {
  site::Site().CalendarHtml.clear();
  site::Site().ErrorText.clear();
  std::string html =
      "<table width=\"601\" cellpadding=\"0\" cellspacing=\"0\"><tr><td colspan=\"2\"> <font size=\"2\" "
      "face=\"Verdana, Arial, Helvetica, sans-serif\">Please select users that you wish to <b>include</b> "
      "into the Orbitel. </font></td></tr><tr><td width=\"391\">&nbsp;</td><td width=\"204\">&nbsp;</td></tr>";
  // A failure (an account whose name breaks the file's filter) ends the list where it happens.
  site::RunLogged("Options.PrintUsers", [&html]() -> Status {
    site::UserList users;
    site::GetFolderPaths(users);
    data::Recordset included;
    Status status =
        data::OpenRowsetFile(site::files::InSite(site::Site().SitePath, site::files::kUsers), included);
    if (!status.ok()) return status;
    for (const std::string& entry : users) {
      const std::string account = site::SplitUserEntry(entry, false);
      if (!(status = included.SetFilter("Users = '" + account + "'")).ok()) return status;
      const std::string name = site::SplitUserEntry(entry, true);
      html += "<tr><td width=395><div align=\"right\"><font size=\"2\" face=\"Verdana, Arial, Helvetica, "
              "sans-serif\">" + HtmlEscape(name) +
              "</font></div></td><td width=205><div align=\"left\"><input type=checkbox " +
              (included.IsEOF() ? "" : "checked ") + "value='" + HtmlEscape(account) +
              "' name=AddUser" + site::ControlName(name) + "></div></td></tr>";
    }
    return Status::Ok();
  });
  return html + "</table>";
}

}  // namespace orbitel::admin
