// The program as an organisation starts it on its own servers: the people in an LDAP server
// (slapd, --directory ldap://... with a bind account) and the calendars on a CalDAV server
// (Radicale, --store-credentials), both started here. What the pages show comes from them, and
// an appointment saved through the site lands on the calendar server.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "RadicaleServer.h"
#include "ServerProcess.h"
#include "SlapdServer.h"
#include "TempFolder.h"
#include "host/DemoSite.h"
#include "host/SiteVisitor.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;
using orbitel::testing::ReadWholeFile;
constexpr auto npos = std::string::npos;
constexpr char kSuffix[] = "dc=orbitel,dc=test";

TEST(ServeOnServers, TheTeamComesFromLdapAndItsCalendarsFromCalDav) {
  const fs::path folder = orbitel::testing::MakeTempFolder("orbitel-servers");
  std::ostringstream progress;
  ASSERT_TRUE(PrepareDemoSite("www", folder / "site", progress).ok()) << progress.str();

  orbitel::testing::SlapdServer directory(kSuffix);
  ASSERT_EQ(directory.Start(), "");
  std::string people = "dn: " + std::string(kSuffix) + "\nobjectClass: dcObject\nobjectClass: organization\n"
                       "dc: orbitel\no: Orbitel\n\n";
  for (const char* name : {"alice", "ldapbob"}) {
    people += "dn: uid=" + std::string(name) + "," + kSuffix + "\nobjectClass: inetOrgPerson\nuid: " + name +
              "\ncn: " + name + " from LDAP\nsn: " + name + "\n\n";
  }
  ASSERT_EQ(directory.Add(people), "");
  data::testing::RadicaleServer calendars;
  ASSERT_EQ(calendars.Start("orbitel", "calendar:secret"), "");
  ASSERT_EQ(calendars.MakeSiteCalendars({"alice", "ldapbob"}), "");

  // The site's store is the calendar server, as the options page would name it; both accounts'
  // files are the server's to read alone.
  const fs::path settings = folder / "site" / "OrbitelSettings.xml";
  std::string text = ReadWholeFile(settings);
  const std::string shipped = "ExchangeServerName='' ExchangeViaBackoffice='True'";
  ASSERT_NE(text.find(shipped), npos);
  text.replace(text.find(shipped), shipped.size(),
               "ExchangeServerName='127.0.0.1:" + std::to_string(calendars.port()) + "' ExchangeViaBackoffice='False'");
  std::ofstream(settings) << text;
  std::ofstream(folder / "ldap.conf") << "dn: " << directory.AdminDn()
                                      << "\npassword: " << orbitel::testing::SlapdServer::kAdminPassword << "\n";
  std::ofstream(folder / "caldav.conf") << "user: orbitel\npassword: calendar:secret\n";
  for (const char* file : {"ldap.conf", "caldav.conf"}) fs::permissions(folder / file, fs::perms::owner_read);

  const int port = orbitel::testing::FreePort();
  std::string why;
  pid_t server = orbitel::testing::StartServer(
      {ORBITEL_BINARY, "serve", "--site", (folder / "site").string(), "--listen", "127.0.0.1:" + std::to_string(port),
       "--threads", "4", "--directory", directory.Uri(), "--directory-credentials", (folder / "ldap.conf").string(),
       "--store-credentials", (folder / "caldav.conf").string()},
      (folder / "serve.log").string(), port, why);
  ASSERT_GT(server, 0) << why;
  const SiteVisitor visitor{"http://127.0.0.1:" + std::to_string(port)};

  // The users file of a first run is the directory's people: the demo file's are nowhere.
  const std::string team = visitor.SignIn();
  auto month = visitor.Get("/CalendarMonth.asp?DAY=4&MONTH=3&YEAR=2030", team);
  ASSERT_TRUE(month);
  EXPECT_NE(month->body.find("ldapbob from LDAP"), npos) << month->body.substr(0, 2000);
  EXPECT_EQ(month->body.find("Alice Walker"), npos);
  EXPECT_EQ(month->body.find("ERROR:"), npos) << ReadWholeFile(folder / "serve.log");

  const std::string admin = visitor.SignIn("admin");
  auto saved = visitor.Submit("/CalendarItem.asp?UserName=ldapbob&Method=New", admin,
                              "Method=New&action=Save&UserName=ldapbob&subject=On+the+server&location=Yard"
                              "&StartYear=2030&StartMonth=3&StartDay=4&StartTime=9%3A00+AM&EndYear=2030&EndMonth=3"
                              "&EndDay=4&EndTime=9%3A30+AM&busystatus=BUSY&txtMsgBody=");
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->get_header_value("Location"), "CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=ldapbob");
  EXPECT_NE(visitor.Get("/CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=ldapbob", team)->body.find("On the server"),
            npos);
  std::string stored;
  for (const auto& item : fs::directory_iterator(calendars.storage() / "collection-root/exchange/ldapbob/calendar")) {
    if (item.is_regular_file()) stored += ReadWholeFile(item.path());
  }
  EXPECT_NE(stored.find("SUMMARY:On the server"), npos);

  orbitel::testing::StopServer(server);
  fs::remove_all(folder);
}

}  // namespace
}  // namespace orbitel::host
