// The web server end to end: a demo site served on a free loopback port, driven over HTTP as a
// browser would — sign-in, sessions and form tokens, the redirect guard, refused requests, the
// files it serves and the ones it never does, the health address.
#include <gtest/gtest.h>
#include <httplib.h>

#include <filesystem>
#include <regex>
#include <thread>

#include "host/RunOrbitel.h"
#include "host/ServedSite.h"
#include "site/SiteFixture.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;
using WebServerTest = testing::ServedSiteTest;
using testing::Served;
constexpr auto npos = std::string::npos;

TEST_F(WebServerTest, TeamPagesAskForSignInAndShowTheTeamAfterIt) {
  auto month = Get("/CalendarMonth.asp");
  EXPECT_EQ(month->status, 302);
  EXPECT_EQ(month->get_header_value("Location"), "CalendarLogin.asp?ReturnUrl=CalendarMonth.asp");
  EXPECT_EQ(month->body, "");  // nothing of the page is made for a visitor who is not signed in

  auto login = Get("/CalendarLogin.asp?ReturnUrl=CalendarMonth.asp");
  EXPECT_NE(login->get_header_value("Set-Cookie").find("; Path=/; HttpOnly; SameSite=Lax"), npos);
  EXPECT_EQ(HiddenOf(login->body, "ReturnUrl"), "CalendarMonth.asp");
  auto answer = Post("/CalendarLogin.asp", CookieOf(login),
                     "FormToken=" + HiddenOf(login->body) +
                         "&cstrUserName=team&cstrPassword=team&action=Login&ReturnUrl=CalendarMonth.asp");
  EXPECT_EQ(answer->status, 302);
  EXPECT_EQ(answer->get_header_value("Location"), "CalendarMonth.asp");
  const std::string cookie = CookieOf(answer);
  // Signing in gives a new form token: one seen before sign-in posts nothing after it.
  EXPECT_NE(HiddenOf(Get("/CalendarMonth.asp", cookie)->body), HiddenOf(login->body));

  for (const char* page : {"/CalendarMonth.asp", "/CalendarWeek.asp", "/CalendarDay.asp", "/CalendarNow.asp",
                           "/CalendarUserList.asp", "/calendarmonth.ASP"}) {
    auto shown = Get(page, cookie);
    EXPECT_EQ(shown->status, 200) << page;
    EXPECT_NE(shown->body.find("Alice Walker"), npos) << page;
    EXPECT_NE(shown->body.find("Sean O&#39;Neill"), npos) << page;
    EXPECT_EQ(shown->body.find("ERROR:"), npos) << page;
    EXPECT_EQ(shown->get_header_value("Cache-Control"), "no-store");
  }
  EXPECT_NE(Get("/CalendarMonth.asp", cookie)->body.find("_pix.gif"), npos);
  for (const char* page : {"/CalendarPersonalDay.asp", "/CalendarPersonalWeek.asp", "/CalendarPersonalMonth.asp"}) {
    auto shown = Get(std::string(page) + "?USER=alice", cookie);
    EXPECT_EQ(shown->status, 200) << page;
    EXPECT_TRUE(std::regex_search(shown->body, std::regex("<b>(&nbsp;)?alice - "))) << page;
    EXPECT_NE(shown->body.find("href=\"CalendarItem.asp?UserName=alice&Method=New\""), npos) << page;
    EXPECT_EQ(shown->body.find("ERROR:"), npos) << page;
  }
}

TEST_F(WebServerTest, SignInSendsVisitorsOnlyToPagesOfThisSite) {
  const std::pair<const char*, const char*> cases[] = {
      {"CalendarDay.asp%3FDAY%3D1", "CalendarDay.asp?DAY=1"},
      {"http%3A%2F%2Fevil.example%2F", "default.asp"},
      {"CalendarDay.asp%0D%0ASet-Cookie%3A%20x%3D1", "default.asp"},
  };
  for (const auto& [asked, sent] : cases) {
    EXPECT_EQ(SignInAnswer("team", "team", asked)->get_header_value("Location"), sent) << asked;
  }
}

TEST_F(WebServerTest, OnlyTheAdministratorOpensFormsAndOptionsAndTheCheckEndsTheSignIn) {
  const std::string team = SignIn(), admin = SignIn("admin");
  for (const std::string page : {"CalendarItem.asp?UserName=alice&Method=New", "CalendarOptions.asp"}) {
    EXPECT_EQ(Get("/" + page, team)->get_header_value("Location"),
              "CalendarLogin.asp?ReturnUrl=" + page.substr(0, page.find('?')));
    EXPECT_EQ(Get("/" + page, admin)->status, 200) << page;
  }
  auto options = Get("/CalendarOptions.asp", admin);
  EXPECT_NE(options->body.find("name=\"cstrAdminUserName\" value=\"admin\""), npos);
  EXPECT_NE(options->body.find("checked value='alice' name=AddUser"), npos);

  auto check = Post("/CalendarOptions.asp", admin, "FormToken=" + HiddenOf(options->body) + "&action=Check");
  EXPECT_NE(check->body.find("Exchange Server:"), npos);
  const std::string after_check = CookieOf(check);
  EXPECT_EQ(Get("/CalendarOptions.asp", after_check.empty() ? admin : after_check)->status, 302);
}

TEST_F(WebServerTest, SigningOutNeedsTheTokenAndClearsTheCookie) {
  const std::string cookie = SignIn();
  EXPECT_EQ(Post("/signout", cookie, "")->status, 403);
  auto out = Post("/signout", cookie, "FormToken=" + HiddenOf(Get("/CalendarMonth.asp", cookie)->body));
  EXPECT_EQ(out->status, 302);
  EXPECT_EQ(out->get_header_value("Location"), "default.asp");
  EXPECT_EQ(out->get_header_value("Set-Cookie"), "orbitel_session=; Path=/; HttpOnly; SameSite=Lax; Max-Age=0");
  EXPECT_EQ(Get("/CalendarMonth.asp", CookieOf(out))->status, 302);
}

TEST_F(WebServerTest, RotatingTheSiteKeyEndsEverySession) {
  const std::string cookie = SignIn();
  ASSERT_EQ(Get("/CalendarMonth.asp", cookie)->status, 200);
  const auto rotated = orbitel::testing::RunOrbitel(
      "site rotate-key " + orbitel::testing::Quote((folder_ / "site").string()), folder_.string());
  EXPECT_EQ(rotated.code, 0) << rotated.err;
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));  // the server looks at the key once a second
  EXPECT_EQ(Get("/CalendarMonth.asp", cookie)->status, 302);
  EXPECT_EQ(Get("/CalendarMonth.asp", SignIn())->status, 200);
}

TEST_F(WebServerTest, ANewPasswordEndsOldSessionsAndWorksAtOnceOnEveryRequestThread) {
  const auto save = [](const std::string& team_password) {
    return Submit("/CalendarOptions.asp", SignIn("admin"),
                  "cstrExchangeConnectionMethod=True&cstrExchangeDomain=&cstrShowLocation=Yes"
                  "&cstrLocationEntry=Location&cstrLocationNoEntry=NoLocation&cstrUserUserName=team"
                  "&cstrUserPassword=" + team_password +
                      "&cstrAdminUserName=admin&cstrAdminPassword=admin&AddUser=alice&action=Save+Changes")
        ->body;
  };
  // Every request thread signs the team in with the old password first.
  for (int i = 0; i < 8; ++i) ASSERT_FALSE(SignIn().empty());
  const std::string signed_in_before = SignIn();
  EXPECT_NE(save("changed").find("Status: Saved"), npos);
  EXPECT_EQ(Get("/CalendarMonth.asp", signed_in_before)->status, 302);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(SignInAnswer("team", "changed")->status, 302) << "attempt " << i;
  EXPECT_NE(save("team").find("Status: Saved"), npos);
}

TEST_F(WebServerTest, PostsNeedTheSessionsFormToken) {
  auto page = Get("/CalendarLogin.asp");
  const std::string cookie = CookieOf(page);
  const std::string form = "cstrUserName=team&cstrPassword=team&action=Login";
  EXPECT_EQ(Post("/CalendarLogin.asp", cookie, form)->status, 403);
  EXPECT_EQ(Post("/CalendarLogin.asp", cookie, form + "&FormToken=" + std::string(32, '0'))->status, 403);
  // The right token in another visitor's request is no token at all.
  EXPECT_EQ(Post("/CalendarLogin.asp", "", form + "&FormToken=" + HiddenOf(page->body))->status, 403);
  auto refused = Post("/CalendarMonth.asp", SignIn(), "");
  EXPECT_EQ(refused->status, 403);
  EXPECT_NE(refused->body.find("Form expired"), npos);
  // The refused posts signed nobody in.
  EXPECT_EQ(Get("/CalendarMonth.asp", cookie)->status, 302);
}

TEST_F(WebServerTest, AnyQueryStringRendersThePageAndOversizedRequestsAreRefused) {
  const std::string cookie = SignIn();
  const std::string targets[] = {
      "/CalendarMonth.asp?" + std::string(6000, 'x'),
      "/CalendarMonth.asp?DAY=%zz&MONTH=%&YEAR=%4",
      "/CalendarWeek.asp?DAY=1&DAY=2&MONTH=3&MONTH=4",
      "/CalendarDay.asp?DAY=99999999999&MONTH=-70000&YEAR=40000",
      "/CalendarDay.asp?DAY=1e308&MONTH=abc&YEAR=2.5",
      "/CalendarMonth.asp?USER=%3Cscript%3Ealert(1)%3C%2Fscript%3E",
      "/CalendarUserList.asp?=&&=x&%00=%00",
      "/CalendarWeek.asp?ReturnUrl=CalendarWeek.asp?DAY=3&MONTH=2&YEAR=2004",
  };
  for (const std::string& target : targets) {
    auto shown = Get(target, cookie);
    ASSERT_TRUE(shown) << target.substr(0, 60);
    EXPECT_EQ(shown->status, 200) << target.substr(0, 60);
    // The pages' own script is there; what the visitor sent never runs as one.
    EXPECT_EQ(shown->body.find("<script>alert"), npos) << target.substr(0, 60);
  }
  // Past 8 KiB an address is refused whole, as web servers do; so is a body past 1 MiB.
  EXPECT_EQ(Get("/CalendarNow.asp?USER=" + std::string(20000, 'u'), cookie)->status, 414);
  EXPECT_EQ(Post("/CalendarLogin.asp", "", std::string(kMaxBodyBytes + 1, 'a'))->status, 413);
}

TEST_F(WebServerTest, ATrustedProxyNamesTheVisitorAndTheirHttps) {
  Served behind_proxy(folder_ / "site", {"127.0.0.1"});
  const httplib::Headers forwarded = {{"X-Forwarded-For", "203.0.113.9, 127.0.0.1"}, {"X-Forwarded-Proto", "https"}};
  EXPECT_NE(behind_proxy.Client().Get("/CalendarLogin.asp", forwarded)->get_header_value("Set-Cookie").find("; Secure"),
            npos);
  EXPECT_EQ(behind_proxy.Client().Get("/CalendarLogin.asp")->get_header_value("Set-Cookie").find("Secure"), npos);
  // A server that trusts no proxy believes no header.
  EXPECT_EQ(served_->Client().Get("/CalendarLogin.asp", forwarded)->get_header_value("Set-Cookie").find("Secure"),
            npos);
  // The access log names the visitor, the time and the sign-in level.
  behind_proxy.Stop();
  EXPECT_TRUE(std::regex_search(
      behind_proxy.accesses(),
      std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ 203\.0\.113\.9 none "GET /CalendarLogin\.asp" 200 \d+ )")))
      << behind_proxy.accesses();
}

TEST_F(WebServerTest, ServesPicturesAndHelpButNeverTheSitesData) {
  auto picture = Get("/images/BUSY_pix.gif");
  EXPECT_EQ(picture->status, 200);
  EXPECT_EQ(picture->get_header_value("Content-Type"), "image/gif");
  EXPECT_NE(picture->get_header_value("Cache-Control").find("max-age"), npos);
  for (const char* shown : {"/dot.gif", "/help/permissions.html", "/styles/orbitel.css"}) {
    EXPECT_EQ(Get(shown)->status, 200) << shown;
  }
  // A link inside a served folder that points out of it is not followed.
  fs::create_symlink("../OrbitelSettings.xml", folder_ / "site" / "images" / "leak.gif");
  for (const char* hidden : {"/OrbitelSettings.xml", "/OrbitelUsers.xml", "/directory.ldif", "/Errorfile.Log",
                             "/store/orbitel.demo/store.sqlite", "/templates/default.html",
                             "/images/../OrbitelSettings.xml", "/CalendarSecret.asp", "/images/leak.gif",
                             "/.orbitel-session.key"}) {
    auto answer = Get(hidden);
    ASSERT_TRUE(answer) << hidden;
    EXPECT_EQ(answer->status, 404) << hidden;
    EXPECT_EQ(answer->body.find("admin"), npos) << hidden;
  }
  // Control characters in a path are refused, not read as the end of a file name.
  EXPECT_EQ(Get("/styles/orbitel.css%00.html")->status, 400);
}

TEST_F(WebServerTest, TheHealthAddressSaysWhichPartFailsAndABrokenSiteStillSignsIn) {
  auto health = Get("/healthz");
  EXPECT_EQ(health->status, 200) << health->body;
  EXPECT_EQ(health->get_header_value("Content-Type"), "application/json");
  EXPECT_NE(health->body.find("\"status\":\"ok\""), npos);
  EXPECT_NE(health->body.find("\"directory\":{\"ok\":true,\"people\":"), npos) << health->body;
  EXPECT_EQ(health->body.find("admin"), npos);

  const fs::path broken = folder_ / "broken";
  fs::create_directories(broken);
  fs::copy(folder_ / "site" / "templates", broken / "templates", fs::copy_options::recursive);
  fs::remove(broken / "templates" / "default.html");
  site::testing::WriteFile(broken / "OrbitelSettings.xml", "<xml><broken");
  Served served(broken);
  auto login = served.Client().Get("/CalendarLogin.asp");
  EXPECT_EQ(login->status, 200);
  EXPECT_NE(login->body.find("cstrPassword"), npos);
  EXPECT_NE(site::testing::ReadFile(broken / "Errorfile.Log").find("AdminStuff.GetSiteVars"), npos);
  // Nothing about where the site is, in the health report or on the error page.
  auto failing = served.Client().Get("/healthz");
  EXPECT_EQ(failing->status, 503);
  EXPECT_NE(failing->body.find("\"settings\":{\"ok\":false"), npos) << failing->body;
  EXPECT_EQ(failing->body.find(broken.string()), npos);
  auto home = served.Client().Get("/default.asp");  // its template is missing
  EXPECT_EQ(home->status, 500);
  EXPECT_NE(home->body.find("could not be shown"), npos);
  EXPECT_EQ(home->body.find("templates"), npos);
}

}  // namespace
}  // namespace orbitel::host
