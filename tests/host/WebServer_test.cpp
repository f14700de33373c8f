// The web server end to end: a demo site served on a free loopback port, driven over HTTP as a
// browser would — sign-in, sessions and form tokens, the redirect guard, refused bodies, bad
// query strings, the files it serves and the ones it never does.
#include <gtest/gtest.h>
#include <httplib.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <sstream>
#include <thread>

#include "host/RunOrbitel.h"
#include "host/ServedSite.h"
#include "site/SiteFixture.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;
using WebServerTest = testing::ServedSiteTest;
using testing::Served;

TEST_F(WebServerTest, TeamPagesAskForSignInAndShowTheTeamAfterIt) {
  auto month = served_->Client().Get("/CalendarMonth.asp");
  ASSERT_TRUE(month);
  EXPECT_EQ(month->status, 302);
  EXPECT_EQ(month->get_header_value("Location"), "CalendarLogin.asp?ReturnUrl=CalendarMonth.asp");
  EXPECT_EQ(month->body, "");  // nothing of the page is made for a visitor who is not signed in

  auto login = served_->Client().Get("/CalendarLogin.asp?ReturnUrl=CalendarMonth.asp");
  EXPECT_EQ(login->status, 200);
  EXPECT_NE(login->get_header_value("Set-Cookie").find("; Path=/; HttpOnly; SameSite=Lax"), std::string::npos);
  EXPECT_NE(login->body.find("name=\"ReturnUrl\" value=\"CalendarMonth.asp\""), std::string::npos);

  std::unique_ptr<httplib::Result> answer;
  const std::string cookie = SignIn("CalendarMonth.asp", &answer);
  EXPECT_EQ((*answer)->status, 302);
  EXPECT_EQ((*answer)->get_header_value("Location"), "CalendarMonth.asp");
  EXPECT_NE(cookie, CookieOf(login));  // signing in gives the session a new id
  // and a new form token: one seen before sign-in posts nothing after it.
  EXPECT_NE(TokenOf(Get("/CalendarMonth.asp", cookie)->body), TokenOf(login->body));

  for (const char* page : {"/CalendarMonth.asp", "/CalendarWeek.asp", "/CalendarDay.asp", "/CalendarNow.asp",
                           "/CalendarUserList.asp", "/calendarmonth.ASP"}) {
    auto shown = Get(page, cookie);
    EXPECT_EQ(shown->status, 200) << page;
    EXPECT_NE(shown->body.find("Alice Walker"), std::string::npos) << page;
    EXPECT_NE(shown->body.find("Sean O&#39;Neill"), std::string::npos) << page;
    EXPECT_EQ(shown->body.find("ERROR:"), std::string::npos) << page;
    EXPECT_EQ(shown->get_header_value("Cache-Control"), "no-store");
  }
  EXPECT_NE(Get("/CalendarMonth.asp", cookie)->body.find("_pix.gif"), std::string::npos);

  for (const char* page : {"/CalendarPersonalDay.asp", "/CalendarPersonalWeek.asp", "/CalendarPersonalMonth.asp"}) {
    auto shown = Get(std::string(page) + "?USER=alice", cookie);
    EXPECT_EQ(shown->status, 200) << page;
    EXPECT_TRUE(std::regex_search(shown->body, std::regex("<b>(&nbsp;)?alice - "))) << page;
    EXPECT_NE(shown->body.find("href=\"CalendarItem.asp?UserName=alice&Method=New\""), std::string::npos) << page;
    EXPECT_EQ(shown->body.find("ERROR:"), std::string::npos) << page;
  }
}

TEST_F(WebServerTest, TheAdministratorAddsAnAppointmentThroughItsForm) {
  EXPECT_EQ(Get("/CalendarItem.asp?UserName=alice&Method=New", SignIn())->get_header_value("Location"),
            "CalendarLogin.asp?ReturnUrl=CalendarItem.asp");

  const std::string cookie = SignIn("", nullptr, "admin");
  auto form = Get("/CalendarItem.asp?UserName=alice&Method=New", cookie);
  ASSERT_EQ(form->status, 200);
  EXPECT_NE(form->body.find("<option value=\"9:00 AM\">9:00 AM</option>"), std::string::npos);
  auto saved = served_->Client().Post(
      "/CalendarItem.asp", {{"Cookie", cookie}},
      "FormToken=" + TokenOf(form->body) + "&UserName=alice&Method=New&subject=Fire+drill+%3Cb%3E&location=Yard"
      "&StartYear=2030&StartMonth=3&StartDay=4&StartTime=9%3A00+AM&EndYear=2030&EndMonth=3&EndDay=4"
      "&EndTime=9%3A30+AM&busystatus=BUSY&txtMsgBody=&action=Save",
      "application/x-www-form-urlencoded");
  EXPECT_EQ(saved->status, 302);
  EXPECT_EQ(saved->get_header_value("Location"), "CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice");
  auto day = Get("/CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice", cookie);
  EXPECT_NE(day->body.find("9:00:00 - 9:30:00"), std::string::npos);
  EXPECT_NE(day->body.find("Fire drill &lt;b&gt;</a>"), std::string::npos);
}

TEST_F(WebServerTest, OnlyTheAdministratorSeesTheOptionsAndTheCheckEndsTheSignIn) {
  EXPECT_EQ(Get("/CalendarOptions.asp", SignIn())->get_header_value("Location"),
            "CalendarLogin.asp?ReturnUrl=CalendarOptions.asp");
  const std::string cookie = SignIn("", nullptr, "admin");
  auto options = Get("/CalendarOptions.asp", cookie);
  EXPECT_EQ(options->status, 200);
  EXPECT_NE(options->body.find("name=\"cstrAdminUserName\" value=\"admin\""), std::string::npos);
  EXPECT_NE(options->body.find("checked value='alice' name=AddUser"), std::string::npos);

  auto check = served_->Client().Post("/CalendarOptions.asp", {{"Cookie", cookie}},
                                      "FormToken=" + TokenOf(options->body) + "&action=Check",
                                      "application/x-www-form-urlencoded");
  EXPECT_EQ(check->status, 200);
  EXPECT_NE(check->body.find("Exchange Server:"), std::string::npos);
  const std::string after_check = CookieOf(check);
  EXPECT_EQ(Get("/CalendarOptions.asp", after_check.empty() ? cookie : after_check)->status, 302);
}

TEST_F(WebServerTest, SigningOutClearsTheSessionCookie) {
  const std::string cookie = SignIn();
  auto month = Get("/CalendarMonth.asp", cookie);
  const std::string form = "FormToken=" + TokenOf(month->body);
  const std::string kind = "application/x-www-form-urlencoded";
  EXPECT_EQ(served_->Client().Post("/signout", {{"Cookie", cookie}}, "", kind)->status, 403);
  auto out = served_->Client().Post("/signout", {{"Cookie", cookie}}, form, kind);
  EXPECT_EQ(out->status, 302);
  EXPECT_EQ(out->get_header_value("Location"), "default.asp");
  EXPECT_EQ(out->get_header_value("Set-Cookie"), "orbitel_session=; Path=/; HttpOnly; SameSite=Lax; Max-Age=0");
  EXPECT_EQ(Get("/CalendarMonth.asp", CookieOf(out))->status, 302);
}

TEST_F(WebServerTest, RotatingTheSiteKeyEndsEverySession) {
  const std::string cookie = SignIn();
  ASSERT_EQ(Get("/CalendarMonth.asp", cookie)->status, 200);
  const auto rotated = orbitel::testing::RunOrbitel("site rotate-key " + orbitel::testing::Quote((folder_ / "site").string()),
                                                    folder_.string());
  EXPECT_EQ(rotated.code, 0) << rotated.err;
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));  // the server looks at the key once a second
  EXPECT_EQ(Get("/CalendarMonth.asp", cookie)->status, 302);
  EXPECT_EQ(Get("/CalendarMonth.asp", SignIn())->status, 200);
}

TEST_F(WebServerTest, ANewPasswordWorksAtOnceOnEveryRequestThread) {
  const auto save = [](const std::string& team_password) {
    const std::string cookie = SignIn("", nullptr, "admin");
    auto options = Get("/CalendarOptions.asp", cookie);
    return served_->Client()
        .Post("/CalendarOptions.asp", {{"Cookie", cookie}},
              "FormToken=" + TokenOf(options->body) +
                  "&cstrExchangeConnectionMethod=True&cstrExchangeDomain=&cstrShowLocation=Yes"
                  "&cstrLocationEntry=Location&cstrLocationNoEntry=NoLocation&cstrUserUserName=team"
                  "&cstrUserPassword=" + team_password +
                  "&cstrAdminUserName=admin&cstrAdminPassword=admin&AddUser=alice&action=Save+Changes",
              "application/x-www-form-urlencoded")
        ->body;
  };
  // Every request thread signs the team in with the old password first.
  for (int i = 0; i < 8; ++i) ASSERT_FALSE(SignIn().empty());
  const std::string signed_in_before = SignIn();
  EXPECT_NE(save("changed").find("Status: Saved"), std::string::npos);
  // A new password ends the sessions signed in with the old one.
  EXPECT_EQ(Get("/CalendarMonth.asp", signed_in_before)->status, 302);
  for (int i = 0; i < 8; ++i) {
    httplib::Client client = served_->Client();
    auto page = client.Get("/CalendarLogin.asp");
    auto answer = client.Post("/CalendarLogin.asp", {{"Cookie", CookieOf(page)}},
                              "FormToken=" + TokenOf(page->body) +
                                  "&cstrUserName=team&cstrPassword=changed&action=Login",
                              "application/x-www-form-urlencoded");
    EXPECT_EQ(answer->status, 302) << "attempt " << i;
  }
  EXPECT_NE(save("team").find("Status: Saved"), std::string::npos);
}

TEST_F(WebServerTest, PostsNeedTheSessionsFormToken) {
  httplib::Client client = served_->Client();
  auto page = client.Get("/CalendarLogin.asp");
  const std::string cookie = CookieOf(page);
  const std::string form = "cstrUserName=team&cstrPassword=team&action=Login";
  const std::string kind = "application/x-www-form-urlencoded";

  EXPECT_EQ(client.Post("/CalendarLogin.asp", {{"Cookie", cookie}}, form, kind)->status, 403);
  EXPECT_EQ(client.Post("/CalendarLogin.asp", {{"Cookie", cookie}}, form + "&FormToken=" + std::string(32, '0'), kind)->status, 403);
  // The right token in another visitor's request is no token at all.
  EXPECT_EQ(client.Post("/CalendarLogin.asp", form + "&FormToken=" + TokenOf(page->body), kind)->status, 403);
  auto refused = client.Post("/CalendarMonth.asp", {{"Cookie", SignIn()}}, "", kind);
  EXPECT_EQ(refused->status, 403);
  EXPECT_NE(refused->body.find("Form expired"), std::string::npos);
  // The refused posts signed nobody in.
  EXPECT_EQ(Get("/CalendarMonth.asp", cookie)->status, 302);
}

TEST_F(WebServerTest, SignInSendsVisitorsOnlyToPagesOfThisSite) {
  const std::pair<const char*, const char*> cases[] = {
      {"CalendarDay.asp%3FDAY%3D1", "CalendarDay.asp?DAY=1"},
      {"http%3A%2F%2Fevil.example%2F", "default.asp"},
      {"%2F%2Fevil.example", "default.asp"},
      {"%2F%5Cevil.example", "default.asp"},
      {"javascript%3Aalert(1)", "default.asp"},
      {"CalendarDay.asp%0D%0ASet-Cookie%3A%20x%3D1", "default.asp"},
      {"", "default.asp"},
  };
  for (const auto& [asked, sent] : cases) {
    std::unique_ptr<httplib::Result> answer;
    SignIn(asked, &answer);
    EXPECT_EQ((*answer)->status, 302) << asked;
    EXPECT_EQ((*answer)->get_header_value("Location"), sent) << asked;
  }
}

TEST_F(WebServerTest, WrongPasswordsShowTheMessageAndKeepTheName) {
  httplib::Client client = served_->Client();
  auto page = client.Get("/CalendarLogin.asp");
  auto answer = client.Post("/CalendarLogin.asp", {{"Cookie", CookieOf(page)}},
                            "FormToken=" + TokenOf(page->body) + "&cstrUserName=%22team%22&cstrPassword=x&action=Login",
                            "application/x-www-form-urlencoded");
  EXPECT_EQ(answer->status, 200);
  EXPECT_NE(answer->body.find("Sorry, wrong User Name or Password. Please try again."), std::string::npos);
  EXPECT_NE(answer->body.find("value=\"&quot;team&quot;\""), std::string::npos);
}

TEST_F(WebServerTest, AnyQueryStringRendersThePage) {
  const std::string cookie = SignIn();
  const std::string targets[] = {
      "/CalendarMonth.asp?" + std::string(6000, 'x'),
      "/CalendarMonth.asp?DAY=%zz&MONTH=%&YEAR=%4",
      "/CalendarWeek.asp?DAY=1&DAY=2&MONTH=3&MONTH=4",
      "/CalendarDay.asp?DAY=99999999999&MONTH=-70000&YEAR=40000",
      "/CalendarDay.asp?DAY=1e308&MONTH=abc&YEAR=2.5",
      "/CalendarNow.asp?USER=" + std::string(7000, 'u'),
      "/CalendarMonth.asp?USER=%3Cscript%3Ealert(1)%3C%2Fscript%3E",
      "/CalendarUserList.asp?=&&=x&%00=%00",
      "/CalendarWeek.asp?ReturnUrl=CalendarWeek.asp?DAY=3&MONTH=2&YEAR=2004",
  };
  for (const std::string& target : targets) {
    auto shown = Get(target, cookie);
    ASSERT_TRUE(shown) << target.substr(0, 60);
    EXPECT_EQ(shown->status, 200) << target.substr(0, 60);
    // The pages' own script is there; what the visitor sent never runs as one.
    EXPECT_EQ(shown->body.find("<script>alert"), std::string::npos) << target.substr(0, 60);
  }
  // Past 8 KiB an address is refused whole, as web servers do.
  EXPECT_EQ(Get("/CalendarNow.asp?USER=" + std::string(20000, 'u'), cookie)->status, 414);
}

TEST_F(WebServerTest, BodiesOverOneMebibyteAreRefused) {
  httplib::Client client = served_->Client();
  auto answer = client.Post("/CalendarLogin.asp", std::string(kMaxBodyBytes + 1, 'a'),
                            "application/x-www-form-urlencoded");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 413);
}

TEST_F(WebServerTest, TheHealthAddressNeedsNoSignInAndCountsThePeople) {
  auto health = served_->Client().Get("/healthz");
  EXPECT_EQ(health->status, 200) << health->body;
  EXPECT_EQ(health->get_header_value("Content-Type"), "application/json");
  EXPECT_NE(health->body.find("\"status\":\"ok\""), std::string::npos);
  EXPECT_NE(health->body.find("\"directory\":{\"ok\":true,\"people\":"), std::string::npos) << health->body;
  EXPECT_EQ(health->body.find("admin"), std::string::npos);
}

TEST_F(WebServerTest, ATrustedProxyNamesTheVisitorAndTheirHttps) {
  Served behind_proxy(folder_ / "site", 2, {"127.0.0.1"});
  const httplib::Headers forwarded = {{"X-Forwarded-For", "203.0.113.9, 127.0.0.1"}, {"X-Forwarded-Proto", "https"}};
  auto secure = behind_proxy.Client().Get("/CalendarLogin.asp", forwarded);
  EXPECT_NE(secure->get_header_value("Set-Cookie").find("; Secure"), std::string::npos);
  EXPECT_EQ(behind_proxy.Client().Get("/CalendarLogin.asp")->get_header_value("Set-Cookie").find("Secure"),
            std::string::npos);
  // A server that trusts no proxy believes no header.
  EXPECT_EQ(served_->Client().Get("/CalendarLogin.asp", forwarded)->get_header_value("Set-Cookie").find("Secure"),
            std::string::npos);
  // The access log names the visitor, the time and the sign-in level.
  behind_proxy.Stop();
  EXPECT_TRUE(std::regex_search(behind_proxy.accesses(),
                                std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ 203\.0\.113\.9 none "GET /CalendarLogin\.asp" 200 \d+ )")))
      << behind_proxy.accesses();
}

TEST_F(WebServerTest, ServesPicturesAndHelpButNeverTheSitesData) {
  auto picture = served_->Client().Get("/images/BUSY_pix.gif");
  EXPECT_EQ(picture->status, 200);
  EXPECT_EQ(picture->get_header_value("Content-Type"), "image/gif");
  EXPECT_NE(picture->get_header_value("Cache-Control").find("max-age"), std::string::npos);
  EXPECT_EQ(served_->Client().Get("/dot.gif")->status, 200);
  EXPECT_EQ(served_->Client().Get("/help/permissions.html")->status, 200);
  EXPECT_EQ(served_->Client().Get("/styles/orbitel.css")->status, 200);

  // A link inside a served folder that points out of it is not followed.
  fs::create_symlink("../OrbitelSettings.xml", folder_ / "site" / "images" / "leak.gif");
  for (const char* hidden : {"/OrbitelSettings.xml", "/OrbitelUsers.xml", "/directory.ldif", "/Errorfile.Log",
                             "/store/orbitel.demo/store.sqlite", "/templates/default.html",
                             "/images/../OrbitelSettings.xml", "/CalendarSecret.asp", "/images/leak.gif",
                             "/.orbitel-session.key"}) {
    auto answer = served_->Client().Get(hidden);
    ASSERT_TRUE(answer) << hidden;
    EXPECT_EQ(answer->status, 404) << hidden;
    EXPECT_EQ(answer->body.find("admin"), std::string::npos) << hidden;
  }
  // Control characters in a path are refused, not read as the end of a file name.
  EXPECT_EQ(served_->Client().Get("/styles/orbitel.css%00.html")->status, 400);
}

TEST_F(WebServerTest, ABrokenSiteStillSignsInAndHidesItsFaults) {
  const fs::path broken = folder_ / "broken";
  fs::create_directories(broken);
  fs::copy(folder_ / "site" / "templates", broken / "templates", fs::copy_options::recursive);
  fs::remove(broken / "templates" / "default.html");
  site::testing::WriteFile(broken / "OrbitelSettings.xml", "<xml><broken");
  Served served(broken);

  auto login = served.Client().Get("/CalendarLogin.asp");
  EXPECT_EQ(login->status, 200);
  EXPECT_NE(login->body.find("cstrPassword"), std::string::npos);
  EXPECT_NE(site::testing::ReadFile(broken / "Errorfile.Log").find("AdminStuff.GetSiteVars"), std::string::npos);

  // The health address says which part fails, and nothing about where it is.
  auto health = served.Client().Get("/healthz");
  EXPECT_EQ(health->status, 503);
  EXPECT_NE(health->body.find("\"settings\":{\"ok\":false"), std::string::npos) << health->body;
  EXPECT_EQ(health->body.find(broken.string()), std::string::npos);

  // A missing template shows the plain error page, not where the server looked.
  auto home = served.Client().Get("/default.asp");
  EXPECT_EQ(home->status, 500);
  EXPECT_NE(home->body.find("could not be shown"), std::string::npos);
  EXPECT_EQ(home->body.find("templates"), std::string::npos);
}

}  // namespace
}  // namespace orbitel::host
