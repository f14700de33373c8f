// The options page's object: the sign-in (which names and passwords give which rights, the
// messages, where the visitor goes next), saving the settings and the included people (from many
// administrators at once, and after a crash in the middle of a save), the people table, and the
// installation check.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <regex>
#include <thread>
#include <vector>

#include "admin/Options.h"
#include "recordset/AtomicFile.h"
#include "recordset/RowsetFile.h"
#include "runtime/Value.h"
#include "site/SiteFiles.h"
#include "site/SiteFixture.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"

namespace orbitel::admin {
namespace {

using site::MemoryPageContext;
using site::Site;

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
  static std::vector<std::pair<std::string, std::string>> SettingsForm(const std::string& add_user) {
    return {{"action", "Save Changes"}, {"cstrExchangeDomain", "mail.example"}, {"cstrExchangeConnectionMethod", "False"},
            {"cstrShowLocation", "no"}, {"cstrLocationEntry", "Here"}, {"cstrLocationNoEntry", "Nowhere"},
            {"cstrUserUserName", "staff"}, {"cstrUserPassword", "s3cret"}, {"cstrAdminUserName", "boss"},
            {"cstrAdminPassword", "b0ss"}, {"AddUser", add_user}};
  }
  // The team password of the settings file and the one account of the users file, read as a
  // reader of both does.
  std::pair<std::string, std::string> SavedPair() const {
    data::FileLock saved_pair(File(site::files::kSettingsLock), data::FileLock::Mode::kShared);
    data::Recordset settings, users;
    if (!data::OpenRowsetFile(File(site::files::kSettings), settings).ok() ||
        !data::OpenRowsetFile(File(site::files::kUsers), users).ok()) {
      return {"unreadable", ""};
    }
    auto password = settings.Field("UserPassword");
    auto account = users.IsEOF() ? Result<Value>(Value()) : users.Field("Users");
    return {password.ok() ? password->Text() : "", account.ok() ? account->Text() : ""};
  }
  std::unique_ptr<Options> options_;
};

// Each sign-in form against team / Team and admin / secret: the message, the session and the
// page the visitor is sent to.
TEST_F(OptionsPageTest, EachSignInFormGetsItsMessageSessionAndNextPage) {
  Site().UserUserName = "team";
  Site().UserPassword = "Team";
  Site().AdminUserName = "admin";
  Site().AdminPassword = "secret";
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

TEST_F(OptionsPageTest, SavingWritesBothFilesAndTheRestOfThePageSeesIt) {
  EXPECT_EQ(Posted(SettingsForm("alice, bmartin")).SaveOptionChanges(), "Status: Saved");
  EXPECT_EQ(UsersInFile(), (std::vector<std::string>{"alice", "bmartin"}));
  Options& page = *options_;
  EXPECT_EQ(page.GetAdminPassword(), "b0ss");
  EXPECT_EQ(page.ShowExchangeConnectionMethod(false), "checked");
  EXPECT_EQ(page.ShowLocation(true), "checked");  // only "No" exactly hides locations

  // No box ticked leaves one empty row; another action writes nothing.
  EXPECT_EQ(Posted(SettingsForm("")).SaveOptionChanges(), "Status: Saved");
  EXPECT_EQ(UsersInFile(), std::vector<std::string>{""});
  EXPECT_EQ(Posted({{"action", "Save"}, {"AddUser", "alice"}}).SaveOptionChanges(), "");
  EXPECT_EQ(UsersInFile(), std::vector<std::string>{""});
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
  EXPECT_NE(table.find("<input type=checkbox value='alice' name=AddUser aria-label=\"Alice Walker\">"),
            std::string::npos);
  EXPECT_NE(table.find("<input type=checkbox checked value='bmartin' name=AddUser"), std::string::npos);
  EXPECT_NE(table.find("aria-label=\"Sean O&#39;Neill\""), std::string::npos);

  UseDirectory({{"amy", ""}, {"o'brien", ""}, {"zed", ""}});
  const std::string broken = Posted({}).PrintUsers();
  EXPECT_NE(broken.find("value='amy'"), std::string::npos);
  EXPECT_EQ(broken.find("zed"), std::string::npos);
  EXPECT_NE(ErrorLog().find("Options.PrintUsers"), std::string::npos);
}

TEST_F(OptionsPageTest, TheInstallationCheckFailsOnlyWhatIsMissingAndEndsTheSignIn) {
  context_->SetSession("SessionID", "Admin");
  const std::string table = Posted({}).SiteCheck();
  auto count = [&table](const char* piece) {
    const std::regex pattern(piece);
    return std::distance(std::sregex_iterator(table.begin(), table.end(), pattern), std::sregex_iterator());
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

TEST_F(OptionsPageTest, ConcurrentSavesLeaveEveryReaderAPairFromOneSave) {
  const std::string site_path = Site().SitePath;
  std::atomic<bool> saving{true};
  std::atomic<int> mixed{0}, reads{0};
  // Save n writes the password "p<n>" and includes the account "u<n>" alone.
  const auto read = [&] {
    for (; saving; ++reads) {
      const auto [password, account] = SavedPair();
      if (password != "team" && "u" + password.substr(1) != account) ++mixed;
    }
  };
  std::vector<std::thread> readers;
  for (int r = 0; r < 2; ++r) readers.emplace_back(read);
  for (int round = 0; round < 3; ++round) {
    std::vector<std::thread> administrators;
    for (int n = 0; n < 20; ++n) {
      administrators.emplace_back([&, n] {
        Site().SitePath = site_path;
        auto context = std::make_shared<site::MemoryPageContext>();
        context->Form("action", "Save Changes").Form("cstrUserPassword", "p" + std::to_string(n));
        context->Form("cstrUserUserName", "team").Form("AddUser", "u" + std::to_string(n));
        Site().PageContext = context;
        EXPECT_EQ(Options().SaveOptionChanges(), "Status: Saved");
      });
    }
    for (std::thread& administrator : administrators) administrator.join();
  }
  saving = false;
  for (std::thread& reader : readers) reader.join();
  EXPECT_GT(reads, 0);
  EXPECT_EQ(mixed, 0);
}

TEST_F(OptionsPageTest, LeftoversOfInterruptedWritesAreRemovedAndNothingElse) {
  // A process that no longer runs: the pid of a child that has ended.
  const pid_t gone = fork();
  if (gone == 0) _exit(0);
  waitpid(gone, nullptr, 0);
  const std::string mine = ".OrbitelSettings.xml.tmp." + std::to_string(getpid()) + ".0123456789abcdef";
  const std::string left = ".OrbitelSettings.xml.tmp." + std::to_string(gone) + ".0123456789abcdef";
  const std::string not_ours[] = {"notes.tmp.1.0123456789abcdef", ".OrbitelUsers.xml.tmp.x.0123456789abcdef",
                                  "OrbitelSettings.xml"};
  for (const std::string& name : {mine, left}) site::testing::WriteFile(folder_ / name, "half");
  for (const std::string& name : not_ours) {
    if (!std::filesystem::exists(folder_ / name)) site::testing::WriteFile(folder_ / name, "kept");
  }
  EXPECT_EQ(data::RemoveLeftoverTemporaries(folder_), 1);
  EXPECT_FALSE(std::filesystem::exists(folder_ / left));
  EXPECT_TRUE(std::filesystem::exists(folder_ / mine));  // a writer still at work keeps its file
  for (const std::string& name : not_ours) EXPECT_TRUE(std::filesystem::exists(folder_ / name)) << name;
}

}  // namespace
}  // namespace orbitel::admin
