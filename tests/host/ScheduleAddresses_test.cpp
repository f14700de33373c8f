// The free/busy and feed addresses over HTTP, on a fresh demo site served in this process: who
// may read them (a signed-in visitor, or the token the administrator renews on the options
// page), the 400s for bad input, and a feed that, imported with `orbitel store import` into an
// empty mailbox, gives the same free/busy as the calendar it came from.
#include <gtest/gtest.h>
#include <httplib.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <regex>
#include <string>

#include "host/RunOrbitel.h"
#include "host/DemoSiteServer.h"

namespace orbitel::host {
namespace {

// One more person, whose mailbox the round trip fills.
constexpr char kRoundTrip[] =
    "\ndn: CN=Round Trip,OU=Staff,DC=ORBITEL,DC=DEMO\nobjectClass: top\nobjectClass: person\n"
    "objectClass: organizationalPerson\nobjectClass: user\ncn: Round Trip\ndisplayName: Round Trip\n"
    "sAMAccountName: rtrip\nuserAccountControl: 512\n";

class ScheduleAddressesTest : public DemoSiteTest {
 protected:
  static void SetUpTestSuite() {
    setenv("TZ", "America/New_York", 1);
    tzset();
    ServeDemoSite("orbitel-schedule", kRoundTrip);
    team_ = served_->Visitor().SignIn("team");
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
  static std::string Day(int days_from_today) {
    const std::time_t moment = std::time(nullptr) + days_from_today * 86400L;
    std::tm local{};
    localtime_r(&moment, &local);
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", &local);
    return text;
  }
  static std::string BusyLines(const std::string& freebusy) {
    std::string lines;
    const std::regex line("FREEBUSY;[^\r\n]*");
    for (std::sregex_iterator it(freebusy.begin(), freebusy.end(), line), end; it != end; ++it) lines += it->str() + "\n";
    return lines;
  }

  static inline std::string team_, admin_;
};

TEST_F(ScheduleAddressesTest, ReadOnlyWhenSignedInOrWithTheSitesToken) {
  for (const char* address : {"/freebusy/alice.ifb", "/feeds/alice.ics"}) {
    SCOPED_TRACE(address);
    EXPECT_EQ(Get(address)->status, 404);
    EXPECT_EQ(Get(std::string(address) + "?token=")->status, 404);  // no token before the first renewal
    EXPECT_EQ(Get(address, team_)->status, 200);
  }
  ASSERT_EQ(Renew(admin_)->status, 200);
  const std::string token = ShownToken();
  ASSERT_EQ(token.size(), 64u);
  std::string wrong = token;
  wrong.back() = wrong.back() == '0' ? '1' : '0';
  EXPECT_EQ(Get("/feeds/alice.ics?token=" + token)->status, 200);
  EXPECT_EQ(Get("/freebusy/alice.ifb?token=" + token)->status, 200);
  EXPECT_EQ(Get("/feeds/alice.ics?token=" + wrong)->status, 404);
  EXPECT_EQ(Get("/feeds/nobody.ics?token=" + wrong)->status, 404);  // nothing told of who exists
  // Renewing stops the old token; the team cannot renew it.
  ASSERT_EQ(Renew(admin_)->status, 200);
  EXPECT_EQ(Get("/feeds/alice.ics?token=" + token)->status, 404);
  EXPECT_EQ(Get("/feeds/alice.ics?token=" + ShownToken())->status, 200);
  const std::string kept = ShownToken();
  EXPECT_EQ(Renew(team_, "/CalendarMonth.asp")->status, 302);
  EXPECT_EQ(ShownToken(), kept);

  // Private appointments: "Busy" with nothing else, or left out.
  const std::string busy = Get("/feeds/alice.ics", team_)->body;
  EXPECT_NE(busy.find("SUMMARY:Busy\r\nCLASS:PRIVATE"), std::string::npos) << busy;
  ASSERT_EQ(Submit("/CalendarOptions.asp", admin_, "action=Save+feed+settings&FeedPrivate=Omit")->status, 200);
  EXPECT_EQ(Get("/feeds/alice.ics", team_)->body.find("CLASS:PRIVATE"), std::string::npos);
  ASSERT_EQ(Submit("/CalendarOptions.asp", admin_, "action=Save+feed+settings&FeedPrivate=Busy")->status, 200);
}

TEST_F(ScheduleAddressesTest, BadInputIsA400WithItsReason) {
  const std::pair<std::string, const char*> cases[] = {
      {"/freebusy/nobody.ifb", "There is nobody with the account name nobody."},
      {"/freebusy/alice.ifb?start=2003-02-30", "The start \"2003-02-30\" is not a date (YYYY-MM-DD)."},
      {"/freebusy/alice.ifb?start=2003-11-10&end=2003-11-09", "The end is before the start."},
      {"/freebusy/alice.ifb?start=2003-01-01&end=2004-01-02", "The span is longer than a year."},
  };
  for (const auto& [address, reason] : cases) {
    auto answer = Get(address, team_);
    EXPECT_EQ(answer->status, 400) << address;
    EXPECT_EQ(answer->body, std::string(reason) + "\n") << address;
  }
  EXPECT_EQ(Get("/freebusy/alice.ifb?start=2004-01-01&end=2004-12-31", team_)->status, 200);  // a leap year is allowed
}

TEST_F(ScheduleAddressesTest, TheFeedImportedIntoAnEmptyMailboxGivesTheSameFreeBusy) {
  const std::string span = "?start=" + Day(-28) + "&end=" + Day(300);
  const std::string original = BusyLines(Get("/freebusy/alice.ifb" + span, team_)->body);
  ASSERT_GT(std::count(original.begin(), original.end(), '\n'), 5) << original;
  ASSERT_NE(original.find("FBTYPE=BUSY-TENTATIVE"), std::string::npos) << original;
  ASSERT_NE(original.find("FBTYPE=BUSY-UNAVAILABLE"), std::string::npos) << original;

  const std::string feed_file = (folder_ / "alice.ics").string();
  std::ofstream(feed_file, std::ios::binary) << Get("/feeds/alice.ics", team_)->body;
  const std::string store = "store --store-root " + orbitel::testing::Quote((folder_ / "site" / "store").string()) + " ";
  const std::string here = folder_.string();
  auto created = orbitel::testing::RunOrbitel(store + "create-mailbox orbitel.demo rtrip", here, "TZ=America/New_York");
  ASSERT_EQ(created.code, 0) << created.err;
  auto imported = orbitel::testing::RunOrbitel(store + "import orbitel.demo rtrip " + orbitel::testing::Quote(feed_file),
                                               here, "TZ=America/New_York");
  ASSERT_EQ(imported.code, 0) << imported.err;
  EXPECT_EQ(BusyLines(Get("/freebusy/rtrip.ifb" + span, team_)->body), original);
}

}  // namespace
}  // namespace orbitel::host
