// The sign-in: which typed names and passwords give which rights, the messages, where the
// visitor is sent afterwards; and the administrator check of the options page.
#include <gtest/gtest.h>

#include "admin/Options.h"
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

  // Posts the sign-in form; returns the page's message.
  std::string SignIn(const std::string& name, const std::string& password,
                     const std::string& action = "Login", const char* return_url = nullptr) {
    context_ = std::make_shared<MemoryPageContext>();
    context_->Form("cstrUserName", name).Form("cstrPassword", password).Form("action", action);
    if (return_url) context_->Form("ReturnUrl", return_url);
    Site().PageContext = context_;
    return Options().Login();
  }
  std::string Session() const { return context_->Session("SessionID"); }
};

TEST_F(LoginTest, AccountsAreMatchedCaseBlindTeamFirst) {
  EXPECT_EQ(SignIn("TEAM", "team"), "");
  EXPECT_EQ(Session(), "User");
  EXPECT_EQ(SignIn("ADMIN", "SECRET"), "");
  EXPECT_EQ(Session(), "Admin");

  // An administrator account that repeats the team's gives user rights only.
  Site().AdminUserName = "team";
  Site().AdminPassword = "team";
  SignIn("team", "team");
  EXPECT_EQ(Session(), "User");
}

TEST_F(LoginTest, RefusalsSayWhyAndSignNobodyIn) {
  EXPECT_EQ(SignIn("", "team"), "Please enter your User Name.");
  EXPECT_EQ(SignIn("team", ""), "Please enter your password.");
  EXPECT_EQ(SignIn("team", "secret"), "Sorry, wrong User Name or Password. Please try again.");
  EXPECT_EQ(SignIn("admin", "team"), "Sorry, wrong User Name or Password. Please try again.");
  EXPECT_EQ(Session(), "");
  EXPECT_TRUE(context_->redirects().empty());

  // Without "Login" as the action the form is not a sign-in at all.
  EXPECT_EQ(SignIn("team", "team", "login"), "");
  EXPECT_EQ(SignIn("", "", ""), "");
  EXPECT_EQ(Session(), "");
  EXPECT_TRUE(context_->redirects().empty());

  // Empty settings accounts can never be matched: empty input is refused first.
  Site().AdminUserName.clear();
  Site().AdminPassword.clear();
  EXPECT_EQ(SignIn("", ""), "Please enter your User Name.");
}

TEST_F(LoginTest, SignedInVisitorsGoBackToTheAskingPage) {
  SignIn("team", "Team", "Login", "CalendarWeek.asp");
  ASSERT_EQ(context_->redirects().size(), 1u);
  EXPECT_EQ(context_->redirects()[0], "CalendarWeek.asp");

  SignIn("team", "Team");
  ASSERT_EQ(context_->redirects().size(), 1u);
  EXPECT_EQ(context_->redirects()[0], "default.asp");
}

TEST_F(LoginTest, AMissingContextIsLoggedNotThrown) {
  Site().PageContext.reset();
  EXPECT_EQ(Options().Login(), "");
  EXPECT_NE(ErrorLog().find("Routine : Options.Login, 424   Object required"), std::string::npos)
      << ErrorLog();
}

TEST_F(LoginTest, OnlyTheAdministratorPassesTheOptionsCheck) {
  for (const char* session : {"", "User", "Admin"}) {
    context_ = std::make_shared<MemoryPageContext>();
    if (*session) context_->SetSession("SessionID", session);
    Site().PageContext = context_;
    Options().ValidateAdminAccess();
    if (std::string(session) == "Admin") {
      EXPECT_TRUE(context_->redirects().empty());
    } else {
      ASSERT_EQ(context_->redirects().size(), 1u) << session;
      EXPECT_EQ(context_->redirects()[0], "CalendarLogin.asp?ReturnUrl=CalendarOptions.asp");
    }
  }
}

}  // namespace
}  // namespace orbitel::admin
