// Writes over HTTP as a browser and as a hostile page would make them: only posted forms with
// the session's token write, a form loaded before someone else's change writes nothing, long
// notes and blanks are kept as typed, wrong passwords are slowed down.
#include <gtest/gtest.h>

#include <chrono>
#include <regex>

#include "host/ServedSite.h"
#include "site/SiteFixture.h"

namespace orbitel::host {
namespace {

constexpr auto npos = std::string::npos;

class WriteSafetyTest : public testing::ServedSiteTest {
 protected:
  // The fields of the appointment form for alice on 4 March 2030, 9:00 to 9:30.
  static std::string ItemFields(const std::string& subject, const std::string& notes = "") {
    return "UserName=alice&subject=" + subject +
           "&location=Yard&StartYear=2030&StartMonth=3&StartDay=4&StartTime=9%3A00+AM&EndYear=2030"
           "&EndMonth=3&EndDay=4&EndTime=9%3A30+AM&busystatus=BUSY&txtMsgBody=" + notes;
  }
  static std::string DayOfAlice(const std::string& cookie) {
    return Get("/CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice", cookie)->body;
  }
  // Adds an appointment through the form; returns its name in alice's calendar. `shown` is the
  // subject as the day page prints it.
  static std::string Added(const std::string& cookie, const std::string& subject, const std::string& notes,
                           const std::string& shown) {
    auto saved = Submit("/CalendarItem.asp?UserName=alice&Method=New", cookie,
                        "Method=New&action=Save&" + ItemFields(subject, notes));
    EXPECT_EQ(saved->get_header_value("Location"), "CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice")
        << saved->body.substr(0, 2000);
    std::smatch match;
    const std::string day = DayOfAlice(cookie);
    std::regex_search(day, match, std::regex("CalendarItem.asp\\?UserName=alice&(?:amp;)?Name=([^\"&]+)[^>]*>" + shown + "<"));
    return match[1];
  }
  static std::string Added(const std::string& cookie, const std::string& subject) {
    return Added(cookie, subject, "", subject);
  }
  static std::string Settings() { return site::testing::ReadFile(folder_ / "site" / "OrbitelSettings.xml"); }
};

TEST_F(WriteSafetyTest, NoWriteByGetEvenWithTheToken) {
  const std::string admin = SignIn("admin");
  const std::string token = HiddenOf(Get("/CalendarOptions.asp", admin)->body);
  const std::string name = Added(admin, "Kept");
  ASSERT_FALSE(name.empty());
  const std::string settings = Settings();

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
  EXPECT_EQ(Settings(), settings);
  const std::string day = DayOfAlice(admin);
  EXPECT_NE(day.find("9:00:00 - 9:30:00"), npos);
  EXPECT_NE(day.find(">Kept</a>"), npos);
  EXPECT_EQ(day.find("Injected"), npos);
  EXPECT_EQ(day.find("Changed"), npos);

  // Signing in by GET shows the form and signs nobody in (nor puts a password in a link).
  auto login = Get("/CalendarLogin.asp?cstrUserName=team&cstrPassword=team&action=Login");
  EXPECT_EQ(login->status, 200);
  EXPECT_EQ(Get("/CalendarMonth.asp", CookieOf(login))->status, 302);
}

TEST_F(WriteSafetyTest, AFormLoadedBeforeSomeoneElsesChangeWritesNothing) {
  const std::string first = SignIn("admin"), second = SignIn("admin");
  const std::string item = "/CalendarItem.asp?UserName=alice&Name=" + Added(first, "Planning");
  const std::string first_form = Get(item, first)->body;
  const std::string second_form = Get(item, second)->body;
  ASSERT_FALSE(HiddenOf(first_form, "ETag").empty());

  auto post = [](const std::string& cookie, const std::string& form, const std::string& rest) {
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

TEST_F(WriteSafetyTest, LongNotesAndBlanksAreKeptAsTyped) {
  const std::string admin = SignIn("admin");
  const std::string notes(9000, 'n');
  const std::string name = Added(admin, "Long", notes + "%0D%0A++indented+%09tab++", "Long");
  const std::string form = Get("/CalendarItem.asp?UserName=alice&Name=" + name, admin)->body;
  // The browser's CR LF is a line end as iCalendar writes one: LF.
  EXPECT_NE(form.find(">\n" + notes + "\n  indented \ttab  </textarea>"), npos);

  const std::string spaced = Added(admin, "++Spaced%09+", "", "  Spaced\t ");
  const std::string spaced_form = Get("/CalendarItem.asp?UserName=alice&Name=" + spaced, admin)->body;
  EXPECT_NE(spaced_form.find("name=\"subject\" value=\"  Spaced\t \""), npos);
}

TEST_F(WriteSafetyTest, RepeatedWrongPasswordsAreSlowedDownNotLockedOut) {
  for (int i = 0; i < 4; ++i) {
    auto wrong = SignInAnswer("%22team%22", "x");
    EXPECT_EQ(wrong->status, 200);
    EXPECT_NE(wrong->body.find("Sorry, wrong User Name or Password. Please try again."), npos);
    EXPECT_NE(wrong->body.find("value=\"&quot;team&quot;\""), npos);  // the name as typed
  }
  // Slowed down from here on, and the right password still signs in after its wait.
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(SignInAnswer("team", "team")->status, 302);
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(900));
  const std::string errors = served_->errors();
  EXPECT_NE(errors.find("wrong passwords from 127.0.0.1"), npos) << errors;
  EXPECT_EQ(errors.find("wrong passwords", errors.find("wrong passwords") + 1), npos);
}

}  // namespace
}  // namespace orbitel::host
