// The free/busy and feed addresses over HTTP: who may read them (a signed-in visitor, or the
// token the administrator renews), the 400s for bad input, and a feed that, imported into an
// empty mailbox, gives the same free/busy as the calendar it came from.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <regex>
#include <string>

#include "host/DemoSiteServer.h"
#include "host/RunOrbitel.h"

namespace orbitel::host {
namespace {

using namespace std::string_literals;
constexpr auto npos = std::string::npos;

class ScheduleAddressesTest : public DemoSiteTest {
 protected:
  static void SetUpTestSuite() {
    setenv("TZ", "America/New_York", 1);
    tzset();
    // One more person, whose mailbox the round trip fills.
    ServeDemoSite("orbitel-schedule",
                  "\ndn: CN=Round Trip,OU=Staff,DC=ORBITEL,DC=DEMO\nobjectClass: user\ncn: Round Trip\n"
                  "displayName: Round Trip\nsAMAccountName: rtrip\nuserAccountControl: 512\n");
    team_ = served_->Visitor().SignIn();
    admin_ = served_->Visitor().SignIn("admin");
  }
  httplib::Result Renew(const std::string& cookie, const std::string& form_page = "/CalendarOptions.asp") const {
    return Post("/CalendarOptions.asp", cookie,
                "FormToken=" + HiddenOf(Get(form_page, cookie)->body) + "&action=Renew+feed+token");
  }
  // The token the options page shows; empty when there is none.
  std::string ShownToken() const {
    std::smatch token;
    const std::string html = Get("/CalendarOptions.asp", admin_)->body;
    return std::regex_search(html, token, std::regex("readonly value=\"([0-9a-f]{64})\"")) ? token[1].str() : "";
  }
  // The local date that many days from today, YYYY-MM-DD.
  static std::string Day(int days_from_today) {
    const std::time_t moment = std::time(nullptr) + days_from_today * 86400L;
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", std::localtime(&moment));
    return text;
  }
  static std::string BusyLines(const std::string& text) {
    std::string lines;
    const std::regex line("FREEBUSY;[^\r\n]*");
    for (std::sregex_iterator it(text.begin(), text.end(), line), end; it != end; ++it) lines += it->str() + "\n";
    return lines;
  }

  static inline std::string team_, admin_;
};

// Before the first token is made: a signed-in visitor reads the addresses and nobody else finds
// them; bad input is a 400 that says why.
TEST_F(ScheduleAddressesTest, AnswersBeforeTheFirstTokenIsMade) {
  const std::tuple<std::string, std::string, int, std::string> cases[] = {  // address, cookie, status, body
      {"/freebusy/alice.ifb", "", 404, ""}, {"/freebusy/alice.ifb?token=", "", 404, ""},
      {"/feeds/alice.ics", "", 404, ""}, {"/feeds/alice.ics?token=", "", 404, ""},
      {"/freebusy/alice.ifb", team_, 200, "BEGIN:VCALENDAR"}, {"/feeds/alice.ics", team_, 200, "BEGIN:VCALENDAR"},
      {"/freebusy/alice.ifb?start=2004-01-01&end=2004-12-31", team_, 200, ""},  // a leap year is allowed
      {"/freebusy/nobody.ifb", team_, 400, "There is nobody with the account name nobody.\n"},
      {"/freebusy/alice.ifb?start=2003-02-30", team_, 400, "The start \"2003-02-30\" is not a date (YYYY-MM-DD).\n"},
      {"/freebusy/alice.ifb?start=2003-11-10&end=2003-11-09", team_, 400, "The end is before the start.\n"},
      {"/freebusy/alice.ifb?start=2003-01-01&end=2004-01-02", team_, 400, "The span is longer than a year.\n"},
  };
  for (const auto& [address, cookie, status, body] : cases) {
    auto answer = Get(address, cookie);
    EXPECT_EQ(answer->status, status) << address;
    EXPECT_TRUE(status == 400 ? answer->body == body : answer->body.starts_with(body)) << address << answer->body;
  }
}

// The administrator's token reads them without signing in, until renewed; the team cannot renew it.
TEST_F(ScheduleAddressesTest, TheSitesTokenReadsThemUntilRenewed) {
  ASSERT_EQ(Renew(admin_)->status, 200);
  const std::string token = ShownToken();
  ASSERT_EQ(token.size(), 64u);
  const std::string wrong = token.substr(0, 63) + (token.back() == '0' ? "1" : "0");
  EXPECT_EQ(Get("/feeds/alice.ics?token=" + token)->status, 200);
  EXPECT_EQ(Get("/freebusy/alice.ifb?token=" + token)->status, 200);
  EXPECT_EQ(Get("/feeds/alice.ics?token=" + wrong)->status, 404);
  EXPECT_EQ(Get("/feeds/nobody.ics?token=" + wrong)->status, 404);  // nothing told of who exists
  ASSERT_EQ(Renew(admin_)->status, 200);
  EXPECT_EQ(Get("/feeds/alice.ics?token=" + token)->status, 404);
  const std::string renewed = ShownToken();
  EXPECT_EQ(Get("/feeds/alice.ics?token=" + renewed)->status, 200);
  EXPECT_EQ(Renew(team_, "/CalendarMonth.asp")->status, 302);
  EXPECT_EQ(ShownToken(), renewed);

  // Private appointments: "Busy" with nothing else, or left out.
  EXPECT_NE(Get("/feeds/alice.ics", team_)->body.find("SUMMARY:Busy\r\nCLASS:PRIVATE"), npos);
  ASSERT_EQ(Submit("/CalendarOptions.asp", admin_, "action=Save+feed+settings&FeedPrivate=Omit")->status, 200);
  EXPECT_EQ(Get("/feeds/alice.ics", team_)->body.find("CLASS:PRIVATE"), npos);
  ASSERT_EQ(Submit("/CalendarOptions.asp", admin_, "action=Save+feed+settings&FeedPrivate=Busy")->status, 200);
}

TEST_F(ScheduleAddressesTest, TheFeedImportedIntoAnEmptyMailboxGivesTheSameFreeBusy) {
  const std::string span = "?start=" + Day(-28) + "&end=" + Day(300);
  const std::string original = BusyLines(Get("/freebusy/alice.ifb" + span, team_)->body);
  ASSERT_GT(std::count(original.begin(), original.end(), '\n'), 5) << original;
  ASSERT_NE(original.find("FBTYPE=BUSY-TENTATIVE"), npos) << original;
  ASSERT_NE(original.find("FBTYPE=BUSY-UNAVAILABLE"), npos) << original;

  const std::string dir = folder_.string(), feed = dir + "/alice.ics";
  const std::string store = "store --store-root " + dir + "/site/store ";
  std::ofstream(feed, std::ios::binary) << Get("/feeds/alice.ics", team_)->body;
  for (const std::string& command : {"create-mailbox orbitel.demo rtrip"s, "import orbitel.demo rtrip " + feed}) {
    const auto done = orbitel::testing::RunOrbitel(store + command, dir, "TZ=America/New_York");
    ASSERT_EQ(done.code, 0) << command << ": " << done.err;
  }
  EXPECT_EQ(BusyLines(Get("/freebusy/rtrip.ifb" + span, team_)->body), original);
}

}  // namespace
}  // namespace orbitel::host
