// The options page's object: the sign-in (which names and passwords give which rights, the
// messages, where the visitor goes next), the administrator check, saving the settings and the
// included people, the people table, and the installation check.
#include <gtest/gtest.h>

#include "admin/Options.h"
#include "data/RowsetFile.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"
#include "site/SiteFixture.h"

namespace orbitel::admin {
namespace {

using site::MemoryPageContext;
using site::Site;

class LoginTest : public site::testing::SiteFixture {
 protected:
  void SetUp() override {
    SiteFixture::SetUp();
    Site().UserUserName = "team";
    Site().UserPassword = "Team";
    Site().AdminUserName = "admin";
    Site().AdminPassword = "secret";
  }
};

// Each sign-in form against team / Team and admin / secret: the message, the session and the
// page the visitor is sent to.
TEST_F(LoginTest, EachFormGetsItsMessageSessionAndNextPage) {
  struct Case {
    const char *name, *password, *action, *return_url, *message, *session, *redirect;
  } cases[] = {
      {"TEAM", "team", "Login", "", "", "User", "default.asp"},  // both ignore case
      {"ADMIN", "SECRET", "Login", "CalendarWeek.asp", "", "Admin", "CalendarWeek.asp"},
      {"", "team", "Login", "", "Please enter your User Name.", "", ""},
      {"team", "", "Login", "", "Please enter your password.", "", ""},
      {"team", "secret", "Login", "", "Sorry, wrong User Name or Password. Please try again.", "", ""},
      {"admin", "team", "Login", "", "Sorry, wrong User Name or Password. Please try again.", "", ""},
      {"team", "team", "login", "", "", "", ""},  // not a sign-in at all
  };
  const auto sign_in = [this](const Case& c) {
    context_ = std::make_shared<MemoryPageContext>();
    context_->Form("cstrUserName", c.name).Form("cstrPassword", c.password).Form("action", c.action);
    if (*c.return_url) context_->Form("ReturnUrl", c.return_url);
    Site().PageContext = context_;
    return Options().Login();
  };
  for (const Case& c : cases) {
    EXPECT_EQ(sign_in(c), c.message) << c.name << "/" << c.password;
    EXPECT_EQ(context_->Session("SessionID"), c.session) << c.name << "/" << c.password;
    EXPECT_EQ(context_->redirects(), *c.redirect ? std::vector<std::string>{c.redirect}
                                                 : std::vector<std::string>{});
  }
  // An administrator account that repeats the team's gives user rights only.
  Site().AdminUserName = "team";
  Site().AdminPassword = "Team";
  sign_in(cases[0]);
  EXPECT_EQ(context_->Session("SessionID"), "User");
}

TEST_F(LoginTest, AMissingContextIsLoggedNotThrown) {
  Site().PageContext.reset();
  EXPECT_EQ(Options().Login(), "");
  EXPECT_NE(ErrorLog().find("Routine : Options.Login, 424   Object required"), std::string::npos)
      << ErrorLog();
}

class OptionsPageTest : public site::testing::SiteFixture {
 protected:
  void SetUp() override {
    SiteFixture::SetUp();
    site::GetSiteVars();
  }
  Options& Posted(std::vector<std::pair<std::string, std::string>> form) {
    context_ = std::make_shared<MemoryPageContext>();
    for (auto& [key, value] : form) context_->Form(key, value);
    context_->Variable("PATH_TRANSLATED", folder_.string() + "/CalendarOptions.asp");
    Site().PageContext = context_;
    options_ = std::make_unique<Options>();
    return *options_;
  }
  // The users file's "Users" values in order.
  std::vector<std::string> IncludedUsers() {
    data::Recordset file;
    EXPECT_TRUE(data::OpenRowsetFile(File("OrbitelUsers.xml").string(), file).ok());
    std::vector<std::string> users;
    for (; !file.IsEOF(); file.MoveNext()) users.push_back(file.Field("Users")->Text());
    return users;
  }
  static std::vector<std::pair<std::string, std::string>> SettingsForm(const std::string& add_user) {
    return {{"action", "Save Changes"},      {"cstrExchangeDomain", "mail.example"},
            {"cstrExchangeConnectionMethod", "False"}, {"cstrShowLocation", "no"},
            {"cstrLocationEntry", "Here"},   {"cstrLocationNoEntry", "Nowhere"},
            {"cstrUserUserName", "staff"},   {"cstrUserPassword", "s3cret"},
            {"cstrAdminUserName", "boss"},   {"cstrAdminPassword", "b0ss"},
            {"AddUser", add_user}};
  }
  std::unique_ptr<Options> options_;
};

TEST_F(OptionsPageTest, SavingWritesBothFilesAndTheRestOfThePageSeesIt) {
  EXPECT_EQ(Posted(SettingsForm("alice, bmartin")).SaveOptionChanges(), "Status: Saved");
  EXPECT_EQ(IncludedUsers(), (std::vector<std::string>{"alice", "bmartin"}));
  Options& page = *options_;
  EXPECT_EQ(page.GetUserUserName(), "staff");
  EXPECT_EQ(page.GetAdminPassword(), "b0ss");
  EXPECT_EQ(page.GetExchangeDomain(), "mail.example");
  EXPECT_EQ(page.GetLocationNoEntry(), "Nowhere");
  EXPECT_EQ(page.ShowExchangeConnectionMethod(false), "checked");
  EXPECT_EQ(page.ShowExchangeConnectionMethod(true), "");
  // Only "No" exactly hides locations.
  EXPECT_EQ(page.ShowLocation(true), "checked");
  EXPECT_EQ(page.ShowLocation(false), "");

  // No box ticked leaves one empty row; another action writes nothing.
  EXPECT_EQ(Posted(SettingsForm("")).SaveOptionChanges(), "Status: Saved");
  EXPECT_EQ(IncludedUsers(), std::vector<std::string>{""});
  EXPECT_EQ(Posted({{"action", "Save"}, {"AddUser", "alice"}}).SaveOptionChanges(), "");
  EXPECT_EQ(IncludedUsers(), std::vector<std::string>{""});
}

TEST_F(OptionsPageTest, AFileThatCannotBeWrittenIsReportedAndLogged) {
  std::filesystem::remove(File("OrbitelUsers.xml"));
  EXPECT_EQ(Posted(SettingsForm("alice")).SaveOptionChanges(),
            "Status: Error Saving. Please check permissions on the xml files. Also check the "
            "documentation provided with Quillon Orbitel for more information.");
  EXPECT_NE(ErrorLog().find("Options.SaveOptionChanges"), std::string::npos);
}

TEST_F(OptionsPageTest, ThePeopleTableTicksTheIncludedAndStopsAtABrokenName) {
  // The site's first listing includes everyone; the saved form then narrows it.
  EXPECT_NE(Posted({}).PrintUsers().find("checked value='alice'"), std::string::npos);
  Posted(SettingsForm("bmartin")).SaveOptionChanges();
  const std::string table = Posted({}).PrintUsers();
  // Each check box is named after its person, the name escaped as the cell beside it shows it.
  EXPECT_NE(table.find("Alice Walker</font></div></td><td width=205><div align=\"left\"><input type=checkbox "
                       "value='alice' name=AddUser aria-label=\"Alice Walker\">"),
            std::string::npos);
  EXPECT_NE(table.find("<input type=checkbox checked value='bmartin' name=AddUser aria-label=\"Ben Martin\">"),
            std::string::npos);
  EXPECT_NE(table.find("Sean O&#39;Neill"), std::string::npos);
  EXPECT_NE(table.find("aria-label=\"Sean O&#39;Neill\""), std::string::npos);
  EXPECT_EQ(table.substr(table.size() - 8), "</table>");

  site::testing::WriteFile(File("people.ldif"),
                           "version: 1\n\ndn: DC=ORBITEL,DC=DEMO\nobjectClass: domain\n\n"
                           "dn: CN=a,DC=ORBITEL,DC=DEMO\nobjectClass: user\nsAMAccountName: amy\n\n"
                           "dn: CN=b,DC=ORBITEL,DC=DEMO\nobjectClass: user\nsAMAccountName: o'brien\n\n"
                           "dn: CN=c,DC=ORBITEL,DC=DEMO\nobjectClass: user\nsAMAccountName: zed\n\n");
  ConnectDirectory(File("people.ldif").string());
  const std::string broken = Posted({}).PrintUsers();
  EXPECT_NE(broken.find("value='amy'"), std::string::npos);
  EXPECT_EQ(broken.find("zed"), std::string::npos);
  EXPECT_NE(ErrorLog().find("Options.PrintUsers"), std::string::npos);
}

TEST_F(OptionsPageTest, TheInstallationCheckFailsOnlyWhatIsMissingAndEndsTheSignIn) {
  context_->SetSession("SessionID", "Admin");
  const std::string table = Posted({}).SiteCheck();
  auto count = [&table](const std::string& piece) {
    int n = 0;
    for (auto at = table.find(piece); at != std::string::npos; at = table.find(piece, at + 1)) ++n;
    return n;
  };
  // The store root has no database for the domain yet: the store service row alone fails.
  EXPECT_EQ(count("<b>Pass</b>"), 9) << table;
  EXPECT_EQ(count("<b>Fail</b>"), 1);
  EXPECT_LT(table.find("Permissions on XML Files:"), table.find("<b>Fail</b>"));
  EXPECT_EQ(context_->Session("SessionID"), "Test");

  std::filesystem::remove(File("OrbitelUsers.xml"));
  const std::string missing = Posted({}).SiteCheck();
  EXPECT_NE(missing.find("This file is missing. Please re-install Orbitel."), std::string::npos);
  EXPECT_NE(missing.find("Full Security"), std::string::npos);
}

}  // namespace
}  // namespace orbitel::admin
