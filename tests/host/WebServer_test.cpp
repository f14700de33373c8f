// The web server end to end, driven over HTTP as a browser and as a hostile page would drive it:
// sign-in, sessions and form tokens, writes and stale forms, refused requests, the files it serves
// and never serves, the health address, kept and gzipped pages, and the loads that starved it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "ServerProcess.h"
#include "host/Compression.h"
#include "host/DemoSiteServer.h"
#include "host/RunOrbitel.h"
#include "host/UrlEncodedForm.h"
#include "site/Clock.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;
using orbitel::testing::ReadWholeFile;
constexpr auto npos = std::string::npos;

class WebServerTest : public DemoSiteTest {
 protected:
  static void SetUpTestSuite() { ServeDemoSite("orbitel-web"); }

  // The fields of the appointment form for alice on 4 March 2030, 9:00 to 9:30.
  static std::string ItemFields(const std::string& subject, const std::string& notes = "") {
    return "UserName=alice&subject=" + subject +
           "&location=Yard&StartYear=2030&StartMonth=3&StartDay=4&StartTime=9%3A00+AM&EndYear=2030"
           "&EndMonth=3&EndDay=4&EndTime=9%3A30+AM&busystatus=BUSY&txtMsgBody=" + notes;
  }
  std::string DayOfAlice(const std::string& cookie) const {
    return Get("/CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice", cookie)->body;
  }
  // Adds an appointment through the form; returns its name in alice's calendar.
  std::string Added(const std::string& cookie, const std::string& subject, const std::string& notes = "") const {
    auto saved = Submit("/CalendarItem.asp?UserName=alice&Method=New", cookie,
                        "Method=New&action=Save&" + ItemFields(subject, notes));
    EXPECT_EQ(saved->get_header_value("Location"), "CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice")
        << saved->body.substr(0, 2000);
    std::smatch match;
    const std::string day = DayOfAlice(cookie);
    std::regex_search(day, match, std::regex("CalendarItem.asp\\?UserName=alice&(?:amp;)?Name=([^\"&]+)[^>]*>" +
                                             UrlDecode(subject) + "<"));
    return match[1];
  }
};

TEST_F(WebServerTest, TeamPagesAskForSignInAndShowTheTeamAfterIt) {
  auto month = Get("/CalendarMonth.asp");
  EXPECT_EQ(month->status, 302);
  EXPECT_EQ(month->get_header_value("Location"), "CalendarLogin.asp?ReturnUrl=CalendarMonth.asp");
  EXPECT_EQ(month->body, "");  // nothing of the page is made for a visitor who is not signed in

  auto login = Get("/CalendarLogin.asp?ReturnUrl=CalendarMonth.asp");
  EXPECT_NE(login->get_header_value("Set-Cookie").find("; HttpOnly; SameSite=Lax"), npos);
  EXPECT_EQ(HiddenOf(login->body, "ReturnUrl"), "CalendarMonth.asp");
  const std::string form = "cstrUserName=team&cstrPassword=team&action=Login&ReturnUrl=";
  auto answer = Post("/CalendarLogin.asp", CookieOf(login), "FormToken=" + HiddenOf(login->body) + "&" + form +
                                                                "CalendarMonth.asp");
  EXPECT_EQ(answer->status, 302);
  EXPECT_EQ(answer->get_header_value("Location"), "CalendarMonth.asp");
  const std::string cookie = CookieOf(answer);
  // Signing in gives a new form token: one seen before sign-in posts nothing after it.
  EXPECT_NE(HiddenOf(Get("/CalendarMonth.asp", cookie)->body), HiddenOf(login->body));
  // Asked to go to another site, the sign-in goes home instead.
  EXPECT_EQ(Submit("/CalendarLogin.asp", "", form + "http%3A%2F%2Fevil.example%2F")->get_header_value("Location"),
            "default.asp");

  // Any query string, however odd, shows the page (with nothing of it written in unescaped).
  const std::string team = "Sean O&#39;Neill", new_item = "href=\"CalendarItem.asp?UserName=alice&Method=New\"";
  const std::pair<std::string, std::string> pages[] = {
      {"/CalendarMonth.asp", team}, {"/CalendarWeek.asp", team}, {"/CalendarDay.asp", team},
      {"/CalendarNow.asp", team}, {"/calendarmonth.ASP", team}, {"/CalendarPersonalWeek.asp?USER=alice", new_item},
      {"/CalendarMonth.asp?" + std::string(6000, 'x'), team}, {"/CalendarMonth.asp?DAY=%zz&MONTH=%&YEAR=%4", team},
      {"/CalendarDay.asp?DAY=99999999999&MONTH=-70000&YEAR=40000", ""},
      {"/CalendarDay.asp?DAY=1e308&MONTH=abc&YEAR=2.5", ""}, {"/CalendarUserList.asp?=&&=x&%00=%00", ""},
      {"/CalendarMonth.asp?USER=%3Cscript%3Ealert(1)%3C%2Fscript%3E", team}};
  for (const auto& [page, shows] : pages) {
    auto shown = Get(page, cookie);
    ASSERT_TRUE(shown) << page.substr(0, 60);
    EXPECT_EQ(shown->status, 200) << page.substr(0, 60);
    EXPECT_NE(shown->body.find(shows), npos) << page.substr(0, 60);
    EXPECT_EQ(shown->body.find("ERROR:"), npos) << page.substr(0, 60);
    EXPECT_EQ(shown->body.find("<script>alert"), npos) << page.substr(0, 60);
  }
}

TEST_F(WebServerTest, TheSiteKeyIsPrivateOutlivesARestartAndRotatingItEndsEverySession) {
  const fs::path site = folder_ / "site";
  const auto private_key = [&] { return fs::status(site / ".orbitel-session.key").permissions() == fs::perms(0600); };
  EXPECT_TRUE(private_key());
  const std::string cookie = SignIn();
  EXPECT_EQ(Served(site, services_).Visitor().Get("/CalendarMonth.asp", cookie)->status, 200);
  const auto rotated = orbitel::testing::RunOrbitel("site rotate-key " + site.string(), folder_.string());
  EXPECT_EQ(rotated.code, 0) << rotated.err;
  EXPECT_TRUE(private_key());
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));  // the server looks at the key once a second
  EXPECT_EQ(Get("/CalendarMonth.asp", cookie)->status, 302);
  EXPECT_EQ(Get("/CalendarMonth.asp", SignIn())->status, 200);
}

// Options saved through the page hold from the next request on, on every request thread, kept
// pages included; a new password ends the sessions signed in with the old one.
TEST_F(WebServerTest, SavedOptionsHoldFromTheNextRequestOnEveryThread) {
  const fs::path settings = folder_ / "site" / "OrbitelSettings.xml";
  const std::string shipped = ReadWholeFile(settings), month = "/CalendarMonth.asp?DAY=4&MONTH=3&YEAR=2030";
  const std::string before = SignIn(), admin = SignIn("admin"), options = Get("/CalendarOptions.asp", admin)->body;
  for (int i = 0; i < 8; ++i) EXPECT_NE(Get(month, SignIn())->body.find("images/Location_pix.gif"), npos);
  // Saved with the people the page already includes.
  std::string fields = "FormToken=" + HiddenOf(options) + "&cstrExchangeConnectionMethod=True&cstrExchangeDomain="
                       "&cstrShowLocation=Yes&cstrLocationEntry=Elsewhere&cstrLocationNoEntry=NoLocation"
                       "&cstrUserUserName=team&cstrUserPassword=changed&cstrAdminUserName=admin"
                       "&cstrAdminPassword=admin&action=Save+Changes";
  const std::regex included("checked value='([^']*)' name=AddUser");
  for (std::sregex_iterator at(options.begin(), options.end(), included), end; at != end; ++at) {
    fields += "&AddUser=" + (*at)[1].str();
  }
  EXPECT_NE(Post("/CalendarOptions.asp", admin, fields)->body.find("Status: Saved"), npos);
  EXPECT_EQ(Get(month, before)->status, 302);
  for (int i = 0; i < 8; ++i) {
    EXPECT_NE(Get(month, SignIn("team", "changed"))->body.find("images/Elsewhere_pix.gif"), npos) << "attempt " << i;
  }
  std::ofstream(settings) << shipped;  // the shipped options again, for the tests that follow
}

// The mirror's settings: a number out of range is refused with its range and nothing is written;
// numbers in range are saved (declared in the file on their first save) and shown from then on.
TEST_F(WebServerTest, TheMirrorsSettingsAreSavedOnlyInRange) {
  const fs::path settings = folder_ / "site" / "OrbitelSettings.xml";
  const std::string shipped = ReadWholeFile(settings), admin = SignIn("admin");
  const auto save = [&](const std::string& interval, const std::string& back) {
    return Submit("/CalendarOptions.asp", admin, "MirrorInterval=" + interval + "&MirrorDaysBack=" + back +
                                                     "&MirrorDaysAhead=90&action=Save+mirror+settings")->body;
  };
  EXPECT_NE(save("9", "30").find("Not saved. The seconds between refreshes must be a whole number from 10 to 86400."), npos);
  EXPECT_NE(save("120", "-1").find("Not saved. The days kept before today must be a whole number from 0 to 3660."), npos);
  EXPECT_EQ(ReadWholeFile(settings).find("Mirror"), npos);
  EXPECT_NE(save("+120+", "30").find("Status: Saved"), npos);  // blanks around a number are no matter
  EXPECT_NE(ReadWholeFile(settings).find("<s:AttributeType name='MirrorDaysAhead'"), npos);
  EXPECT_NE(Get("/CalendarOptions.asp", admin)->body.find("name=\"MirrorDaysBack\" min=\"0\" max=\"3660\" value=\"30\""), npos);
  std::ofstream(settings) << shipped;
}

TEST_F(WebServerTest, ATrustedProxyNamesTheVisitorAndTheirHttps) {
  Served behind_proxy(folder_ / "site", services_, {"127.0.0.1"});
  const httplib::Headers forwarded = {{"X-Forwarded-For", "203.0.113.9, 127.0.0.1"}, {"X-Forwarded-Proto", "https"}};
  const auto cookie_of = [&](const Served& served, const httplib::Headers& headers) {
    return served.Visitor().Client().Get("/CalendarLogin.asp", headers)->get_header_value("Set-Cookie");
  };
  EXPECT_NE(cookie_of(behind_proxy, forwarded).find("; Secure"), npos);
  EXPECT_EQ(cookie_of(behind_proxy, {}).find("Secure"), npos);
  EXPECT_EQ(cookie_of(*served_, forwarded).find("Secure"), npos);  // this one trusts no proxy
  // The access log names the visitor, the time and the sign-in level.
  behind_proxy.Stop();
  EXPECT_TRUE(std::regex_search(
      behind_proxy.accesses(),
      std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ 203\.0\.113\.9 none "GET /CalendarLogin\.asp" 200 \d+ )")))
      << behind_proxy.accesses();
}

TEST_F(WebServerTest, ServesPicturesAndHelpButNeverTheSitesData) {
  for (const char* shown : {"/images/BUSY_pix.gif", "/help/permissions.html", "/styles/orbitel.css"}) {
    EXPECT_EQ(Get(shown)->status, 200) << shown;
  }
  // A link inside a served folder that points out of it is not followed.
  fs::create_symlink("../OrbitelSettings.xml", folder_ / "site" / "images" / "leak.gif");
  for (const char* hidden : {"/OrbitelSettings.xml", "/directory.ldif", "/store/orbitel.demo/store.sqlite",
                             "/templates/default.html", "/images/../OrbitelSettings.xml", "/images/leak.gif",
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
  EXPECT_NE(health->body.find("\"directory\":{\"ok\":true,\"people\":"), npos) << health->body;

  const fs::path broken = folder_ / "broken";
  fs::create_directories(broken);
  fs::copy(folder_ / "site" / "templates", broken / "templates", fs::copy_options::recursive);
  fs::remove(broken / "templates" / "default.html");
  std::ofstream(broken / "OrbitelSettings.xml") << "<xml><broken";
  Served server(broken, services_);
  const SiteVisitor visitor = server.Visitor();
  EXPECT_NE(visitor.Get("/CalendarLogin.asp")->body.find("cstrPassword"), npos);
  // Nothing about where the site is, in the health report or on the error page.
  auto failing = visitor.Get("/healthz");
  EXPECT_EQ(failing->status, 503);
  EXPECT_NE(failing->body.find("\"settings\":{\"ok\":false"), npos) << failing->body;
  EXPECT_EQ(failing->body.find(broken.string()), npos);
  auto home = visitor.Get("/default.asp");  // its template is missing
  EXPECT_EQ(home->status, 500);
  EXPECT_EQ(home->body.find("templates"), npos);
}

TEST_F(WebServerTest, WritesNeedAPostWithTheSessionsFormToken) {
  auto page = Get("/CalendarLogin.asp");
  const std::string cookie = CookieOf(page), form = "cstrUserName=team&cstrPassword=team&action=Login";
  // None, a made-up one, and the right token in another visitor's request.
  const std::pair<std::string, std::string> refused[] = {
      {cookie, ""}, {cookie, std::string(32, '0')}, {"", HiddenOf(page->body)}};
  for (const auto& [sender, token] : refused) {
    EXPECT_EQ(Post("/CalendarLogin.asp", sender, form + "&FormToken=" + token)->status, 403) << token;
  }
  EXPECT_NE(Post("/CalendarMonth.asp", SignIn(), "")->body.find("Form expired"), npos);
  EXPECT_EQ(Get("/CalendarMonth.asp", cookie)->status, 302);  // the refused posts signed nobody in

  // Nothing is written by a GET, even one that carries the token.
  const std::string admin = SignIn("admin");
  const std::string token = HiddenOf(Get("/CalendarOptions.asp", admin)->body);
  const std::string name = Added(admin, "Kept");
  ASSERT_FALSE(name.empty());
  const fs::path settings = folder_ / "site" / "OrbitelSettings.xml";
  const std::string settings_before = ReadWholeFile(settings);

  const std::string writes[] = {
      "/CalendarOptions.asp?action=Save+Changes&cstrAdminUserName=admin&cstrAdminPassword=taken"
      "&cstrUserUserName=team&cstrUserPassword=team&AddUser=alice&FormToken=" + token,
      "/CalendarItem.asp?action=Save&Method=New&FormToken=" + token + "&" + ItemFields("Injected"),
      "/CalendarItem.asp?action=Save&Name=" + name + "&FormToken=" + token + "&" + ItemFields("Changed"),
      "/CalendarItem.asp?action=Delete&UserName=alice&Name=" + name + "&FormToken=" + token,
  };
  for (const std::string& target : writes) {
    EXPECT_EQ(Get(target, admin)->status, 200) << target;  // the page as for a plain visit
  }
  EXPECT_EQ(ReadWholeFile(settings), settings_before);
  const std::string day = DayOfAlice(admin);
  EXPECT_NE(day.find(">Kept</a>"), npos);
  EXPECT_EQ(day.find("Injected"), npos);
  EXPECT_EQ(day.find("Changed"), npos);

  // Signing in by GET shows the form and signs nobody in (nor puts a password in a link).
  auto login = Get("/CalendarLogin.asp?cstrUserName=team&cstrPassword=team&action=Login");
  EXPECT_EQ(login->status, 200);
  EXPECT_EQ(Get("/CalendarMonth.asp", CookieOf(login))->status, 302);
}

TEST_F(WebServerTest, AFormLoadedBeforeSomeoneElsesChangeWritesNothing) {
  const std::string first = SignIn("admin"), second = SignIn("admin");
  const std::string item = "/CalendarItem.asp?UserName=alice&Name=" + Added(first, "Planning");
  const std::string first_form = Get(item, first)->body;
  const std::string second_form = Get(item, second)->body;
  ASSERT_FALSE(HiddenOf(first_form, "ETag").empty());
  auto post = [&](const std::string& cookie, const std::string& form, const std::string& rest) {
    return Post("/CalendarItem.asp", cookie,
                "FormToken=" + HiddenOf(form) + "&Name=" + HiddenOf(form, "Name") + "&ETag=" + HiddenOf(form, "ETag") +
                    "&" + rest);
  };
  EXPECT_EQ(post(second, second_form, "action=Save&" + ItemFields("Planning+moved"))->status, 302);

  auto refused = post(first, first_form, "action=Save&" + ItemFields("Planning+mine"));
  EXPECT_EQ(refused->status, 200);
  EXPECT_NE(refused->body.find("Someone else changed this appointment"), npos);
  EXPECT_NE(refused->body.find("value=\"Planning mine\""), npos);  // what was typed
  EXPECT_NE(post(first, first_form, "action=Delete&UserName=alice")->body.find("it was not deleted"), npos);
  EXPECT_NE(DayOfAlice(first).find(">Planning moved</a>"), npos);

  // The form shown after the refusal carries the stored version: a second save is deliberate.
  EXPECT_EQ(post(first, refused->body, "action=Save&" + ItemFields("Planning+mine"))->status, 302);
  EXPECT_NE(DayOfAlice(first).find(">Planning mine</a>"), npos);
}

TEST_F(WebServerTest, LongNotesAndBlanksAreKeptAsTyped) {
  const std::string admin = SignIn("admin");
  const std::string notes(9000, 'n'), item = "/CalendarItem.asp?UserName=alice&Name=";
  const std::string form = Get(item + Added(admin, "Long", notes + "%0D%0A++indented+%09tab++"), admin)->body;
  // The browser's CR LF is a line end as iCalendar writes one: LF.
  EXPECT_NE(form.find(">\n" + notes + "\n  indented \ttab  </textarea>"), npos);
  const std::string spaced = Get(item + Added(admin, "++Spaced%09+"), admin)->body;
  EXPECT_NE(spaced.find("name=\"subject\" value=\"  Spaced\t \""), npos);
}

// Loads that used to starve the server: through each a signed-in visitor is answered and stays
// signed in.
TEST_F(WebServerTest, LoadsThatUsedToStarveTheServerLeaveItAnswering) {
  const std::string cookie = SignIn();
  // Plain TCP connections that drip their headers, as no well-behaved client would.
  const sockaddr_in address = orbitel::testing::Loopback(served_->port());
  const std::string head = "GET /CalendarMonth.asp HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ";
  std::vector<int> slow;
  for (int i = 0; i < 1000; ++i) {
    slow.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::connect(slow.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << i;
    ASSERT_EQ(::send(slow.back(), head.data(), head.size(), MSG_NOSIGNAL), static_cast<ssize_t>(head.size())) << i;
  }
  for (int round = 0; round < 3; ++round) {
    for (const char* page : {"/CalendarMonth.asp", "/CalendarWeek.asp", "/CalendarDay.asp"}) {
      EXPECT_EQ(Get(page, cookie)->status, 200) << page;
    }
    for (int fd : slow) ::send(fd, "x", 1, MSG_NOSIGNAL);
  }
  for (int fd : slow) ::close(fd);

  // Past 8 KiB an address is refused whole, as web servers do; so is a body past 1 MiB.
  EXPECT_EQ(Get("/CalendarNow.asp?USER=" + std::string(20000, 'u'), cookie)->status, 414);
  EXPECT_EQ(Post("/CalendarLogin.asp", "", std::string(kMaxBodyBytes + 1, 'a'))->status, 413);

  // Anonymous visits, each given a session of its own, push no sign-in out.
  httplib::Client client = Client();
  client.set_keep_alive(true);
  int failed = 0;
  for (int i = 0; i < 3000; ++i) {
    auto page = client.Get("/CalendarLogin.asp");
    failed += !page || page->status != 200 || page->get_header_value("Set-Cookie").empty();
  }
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(Get("/CalendarMonth.asp", cookie)->status, 200);
}

// Pages kept by the page cache: each must change on the very next request after anything it
// shows changed, wherever the change came from.
TEST_F(WebServerTest, AKeptPageChangesOnTheNextRequestAfterWhatItShowsChanges) {
  const std::string team = SignIn(), admin = SignIn("admin");
  const std::string month = "/CalendarMonth.asp?DAY=4&MONTH=3&YEAR=2030";
  const auto twice = [&](const std::string& target) {
    Get(target, team);
    return Get(target, team)->body;
  };

  twice("/CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice");
  EXPECT_FALSE(Added(admin, "Kept+then+added").empty());

  // The store command, in a process of its own.
  const fs::path ics = folder_ / "kept.ics";
  std::ofstream(ics) << "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:kept-import\r\n"
                        "DTSTART:20300304T120000Z\r\nDTEND:20300304T123000Z\r\nSUMMARY:Imported meanwhile\r\n"
                        "END:VEVENT\r\nEND:VCALENDAR\r\n";
  twice("/CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice");
  const std::string import = "store --store-root " + folder_.string() + "/site/store import orbitel.demo alice ";
  const auto imported = orbitel::testing::RunOrbitel(import + ics.string(), folder_.string());
  ASSERT_EQ(imported.code, 0) << imported.err;
  EXPECT_NE(DayOfAlice(team).find("Imported meanwhile"), npos);

  // The directory file, edited where it lies.
  const fs::path ldif = folder_ / "site" / "directory.ldif";
  const std::string people = ReadWholeFile(ldif);
  const auto named = [&](const std::string& name) {
    std::ofstream(ldif, std::ios::trunc) << std::regex_replace(people, std::regex("displayName: Alice Walker"),
                                                               "displayName: " + name);
  };
  EXPECT_NE(twice(month).find("Alice Walker"), npos);
  named("Alice Renamed");
  EXPECT_NE(Get(month, team)->body.find("Alice Renamed"), npos);
  named("Alice Walker");

  // A template, edited where it lies: every request thread reads it again.
  const fs::path footer = folder_ / "site" / "templates" / "footer.html";
  const std::string before = ReadWholeFile(footer);
  const auto edit_shown = [&] { return Get("/CalendarLogin.asp")->body.find("Edited footer") != npos; };
  for (int i = 0; i < 8; ++i) EXPECT_FALSE(edit_shown());
  EXPECT_EQ(twice(month).find("Edited footer"), npos);
  std::ofstream(footer, std::ios::trunc) << before << "<p>Edited footer</p>";
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(edit_shown());
  EXPECT_NE(Get(month, team)->body.find("Edited footer"), npos);
  std::ofstream(footer, std::ios::trunc) << before;
}

TEST_F(WebServerTest, AKeptPageFollowsTheDateAndTheNowPageTheHalfHourItShows) {
  const std::string team = SignIn();
  // The moment (4 March 2030 and after), the page asked for, and what it shows then.
  const std::tuple<int, int, int, const char*, const char*> moments[] = {
      {4, 23, 59, "/CalendarDay.asp", "March 04, 2030"}, {5, 0, 0, "/CalendarDay.asp", "March 05, 2030"},
      {5, 10, 15, "/CalendarNow.asp", "10:00:00 AM - 11:00:00 AM"},
      {5, 10, 16, "/CalendarNow.asp", "10:30:00 AM - 11:30:00 AM"},
      {5, 10, 46, "/CalendarNow.asp", "10:00:00 AM - 11:00:00 AM"},
      {5, 10, 47, "/CalendarNow.asp", "11:00:00 AM - 12:00:00 PM"},
      {6, 0, 0, "/CalendarNow.asp", "Wednesday, March 06, 2030"},
  };
  for (const auto& [day, hour, minute, target, shows] : moments) {
    clock_.Fix(*Date::FromParts(2030, 3, day)->AddSeconds(hour * 3600 + minute * 60));
    for (int i = 0; i < 2; ++i) {
      EXPECT_NE(Get(target, team)->body.find(shows), npos) << target << " at " << day << " " << hour << ":" << minute;
    }
  }
  clock_.Fix(std::nullopt);
}

TEST_F(WebServerTest, AKeptPageGoesOnlyToItsOwnSignInLevelWithEachVisitorsOwnToken) {
  const std::string team = SignIn(), other = SignIn(), admin = SignIn("admin");
  const std::string month = "/CalendarMonth.asp?DAY=1&MONTH=6&YEAR=2031";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Get(month, team)->body.find("CalendarOptions.asp"), npos);
    EXPECT_NE(Get(month, admin)->body.find("CalendarOptions.asp"), npos);
    EXPECT_EQ(Get(month, other)->body.find("CalendarOptions.asp"), npos);
    EXPECT_EQ(Get(month)->status, 302);
  }
  const std::string token = HiddenOf(Get(month, team)->body);
  EXPECT_NE(HiddenOf(Get(month, other)->body), token);
  EXPECT_EQ(Post("/signout", other, "FormToken=" + token)->status, 403);
  EXPECT_EQ(Post("/signout", team, "FormToken=" + token)->status, 302);
}

// The client unpacks what comes gzipped, and fails when it is not one whole stream whose check
// sum holds. A server keeping no pages sends each in the pieces it was made in (its calendar
// among them), plain or packed.
TEST_F(WebServerTest, TextIsGzippedOnlyForBrowsersThatTakeItAndUnpacksToTheSameBytes) {
  const std::string admin = SignIn("admin");
  const std::string week = "/CalendarWeek.asp?DAY=3&MONTH=2&YEAR=2031";
  const Served afresh(folder_ / "site", services_, {}, 0);
  const std::string kept_week = Get(week, admin)->body;
  const SiteVisitor keeping = *this;
  const std::pair<SiteVisitor, std::string> asked[] = {
      {keeping, week}, {keeping, week}, {keeping, "/CalendarItem.asp?UserName=alice&Method=New"},
      {keeping, "/styles/orbitel.css"}, {afresh.Visitor(), week}};
  for (const auto& [visitor, target] : asked) {
    const auto get = [&](const std::string& encoding) {
      return visitor.Client().Get(target, {{"Cookie", admin}, {"Accept-Encoding", encoding}});
    };
    const std::string plain = get("identity")->body;
    ASSERT_GT(plain.size(), kMinCompressedBytes) << target;
    if (target == week) {
      EXPECT_EQ(plain, kept_week);
    }
    for (const char* encoding : {"gzip", "deflate, gzip;q=0.5", "*", "x-gzip, br"}) {
      auto packed = get(encoding);
      ASSERT_TRUE(packed) << target << " " << encoding << ": " << httplib::to_string(packed.error());
      EXPECT_EQ(packed->get_header_value("Content-Encoding"), "gzip") << target << " " << encoding;
      EXPECT_EQ(packed->get_header_value("Vary"), "Accept-Encoding") << target;
      EXPECT_EQ(packed->body, plain) << target << " " << encoding;
    }
    for (const char* encoding : {"", "deflate", "gzip;q=0", "*, gzip;q=0", "gzip;q=0.0, *;q=1"}) {
      auto sent = get(encoding);
      EXPECT_FALSE(sent->has_header("Content-Encoding")) << target << " " << encoding;
      EXPECT_EQ(sent->body, plain) << target << " " << encoding;
    }
  }
  // Short answers go as they are.
  EXPECT_FALSE(Client().Get("/dot.gif", {{"Accept-Encoding", "gzip"}})->has_header("Content-Encoding"));
}

}  // namespace
}  // namespace orbitel::host
