// Orbitel as an organisation runs it: Debian's nginx in front, with HTTPS on a certificate made
// here, the site under /orbitel/, and two orbitel processes on one site folder taking requests
// in turn, the people in an LDAP server (slapd) and the calendars on a CalDAV server (Radicale).
// nginx runs the README's configuration (packaging/nginx/orbitel.conf) with only the ports and
// the certificate changed.
#include <gtest/gtest.h>
#include <httplib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>

#include "ServerProcess.h"
#include "SlapdServer.h"
#include "TempFolder.h"
#include "data/RadicaleServer.h"
#include "host/DemoSite.h"
#include "host/RunOrbitel.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;
using orbitel::testing::FreePort;
using orbitel::testing::ReadWholeFile;
constexpr auto npos = std::string::npos;
constexpr char kNginx[] = "/usr/sbin/nginx";
constexpr char kSuffix[] = "dc=orbitel,dc=test";
constexpr char kCalendarUser[] = "orbitel";
constexpr char kCalendarPassword[] = "calendar-secret";
// The team in the directory server, each with a calendar on the calendar server.
constexpr const char* kPeople[][2] = {{"alice", "Alice Walker"}, {"bmartin", "Ben Martin"}, {"cdiaz", "Carla Diaz"}};

std::string TeamLdif() {
  std::string ldif = "dn: " + std::string(kSuffix) + "\nobjectClass: dcObject\nobjectClass: organization\n"
                     "dc: orbitel\no: Orbitel\n\n";
  for (const auto& [account, name] : kPeople) {
    ldif += "dn: uid=" + std::string(account) + "," + kSuffix + "\nobjectClass: inetOrgPerson\nuid: " + account +
            "\ncn: " + name + "\nsn: " + name + "\n\n";
  }
  return ldif;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::string Match(const std::string& text, const std::string& pattern) {
  std::smatch match;
  return std::regex_search(text, match, std::regex(pattern)) ? match[1].str() : "";
}

class BehindNginx : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = orbitel::testing::MakeTempFolder("orbitel-nginx");
    if (::access(kNginx, X_OK) != 0) {
      failure_ = std::string(kNginx) + " is missing: scripts/setup --tests installs nginx";
      return;
    }
    std::ostringstream progress;
    if (!PrepareDemoSite("www", folder_ / "site", progress).ok()) {
      failure_ = "no demo site: " + progress.str();
      return;
    }
    directory_ = std::make_unique<orbitel::testing::SlapdServer>(kSuffix);
    if (failure_ = directory_->Start(); !failure_.empty()) return;
    if (failure_ = directory_->Add(TeamLdif()); !failure_.empty()) return;
    calendars_ = std::make_unique<data::testing::RadicaleServer>();
    if (failure_ = calendars_->Start(kCalendarUser, kCalendarPassword); !failure_.empty()) return;
    std::vector<std::string> accounts;
    for (const auto& person : kPeople) accounts.push_back(person[0]);
    if (failure_ = calendars_->MakeSiteCalendars(accounts); !failure_.empty()) return;
    // The site's store is the calendar server, as the options page names it.
    const fs::path settings_file = folder_ / "site" / "OrbitelSettings.xml";
    const std::string settings =
        Replaced(ReadWholeFile(settings_file), "ExchangeServerName='' ExchangeViaBackoffice='True'",
                 "ExchangeServerName='127.0.0.1:" + std::to_string(calendars_->port()) +
                     "' ExchangeViaBackoffice='False'");
    std::ofstream(settings_file) << settings;
    std::ofstream(folder_ / "caldav.conf") << "user: " << kCalendarUser << "\npassword: " << kCalendarPassword << "\n";
    fs::permissions(folder_ / "caldav.conf", fs::perms::owner_read | fs::perms::owner_write);
    const std::string key = (folder_ / "tls.key").string(), cert = (folder_ / "tls.pem").string();
    const std::string make_cert =
        "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1 -addext "
        "subjectAltName=IP:127.0.0.1 -keyout " + key + " -out " + cert + " >" +
        (folder_ / "openssl.log").string() + " 2>&1";
    if (std::system(make_cert.c_str()) != 0) {
      failure_ = "openssl made no certificate: " + ReadWholeFile(folder_ / "openssl.log");
      return;
    }
    for (int i = 0; i < 2; ++i) {
      ports_[i] = FreePort();
      if (!StartOrbitel(i)) return;
    }

    // The README's configuration, inside the few lines nginx needs to run as a test's child.
    std::string site = ReadWholeFile("packaging/nginx/orbitel.conf");
    port_ = FreePort();
    site = Replaced(site, "127.0.0.1:8080", "127.0.0.1:" + std::to_string(ports_[0]));
    site = Replaced(site, "127.0.0.1:8081", "127.0.0.1:" + std::to_string(ports_[1]));
    site = Replaced(site, "listen 443 ssl", "listen 127.0.0.1:" + std::to_string(port_) + " ssl");
    site = Replaced(site, "/etc/ssl/certs/intranet.example.pem", cert);
    site = Replaced(site, "/etc/ssl/private/intranet.example.key", key);
    const std::string f = folder_.string();
    std::ofstream(folder_ / "nginx.conf")
        << "daemon off;\nmaster_process off;\npid " << f << "/nginx.pid;\nerror_log " << f
        << "/nginx-error.log;\nevents { worker_connections 64; }\nhttp {\naccess_log off;\n"
        << "client_body_temp_path " << f << "/body;\nproxy_temp_path " << f << "/proxy;\n"
        << "fastcgi_temp_path " << f << "/fastcgi;\nuwsgi_temp_path " << f << "/uwsgi;\n"
        << "scgi_temp_path " << f << "/scgi;\n" << site << "}\n";
    nginx_ = orbitel::testing::StartServer({kNginx, "-p", f, "-c", f + "/nginx.conf"},
                                           f + "/nginx.log", port_, failure_);
  }

  static bool StartOrbitel(int i) {
    pids_[i] = orbitel::testing::StartServer(
        {ORBITEL_BINARY, "serve", "--site", (folder_ / "site").string(), "--threads", "4", "--listen",
         "127.0.0.1:" + std::to_string(ports_[i]), "--trusted-proxy", "127.0.0.1", "--directory", directory_->Uri(),
         "--store-credentials", (folder_ / "caldav.conf").string()},
        Log(i), ports_[i], failure_);
    return pids_[i] > 0;
  }

  static void TearDownTestSuite() {
    orbitel::testing::StopServer(nginx_);
    for (pid_t& pid : pids_) orbitel::testing::StopServer(pid);
    directory_.reset();
    calendars_.reset();
    fs::remove_all(folder_);
  }

  void SetUp() override {
    if (!failure_.empty()) GTEST_FAIL() << failure_;
  }

  static std::string Log(int i) { return (folder_ / ("orbitel-" + std::to_string(i) + ".log")).string(); }
  // Requests a process has answered so far, from its access log.
  static int Answered(int i) {
    const std::string log = ReadWholeFile(Log(i));
    int lines = 0;
    for (std::size_t at = log.find(" /"); at != npos; at = log.find(" /", at + 1)) ++lines;
    return lines;
  }

  // A client that trusts the test's certificate only, for a host named as the certificate says.
  static std::unique_ptr<httplib::SSLClient> Client() {
    auto client = std::make_unique<httplib::SSLClient>("127.0.0.1", port_);
    client->set_ca_cert_path((folder_ / "tls.pem").string().c_str());
    client->enable_server_certificate_verification(true);
    client->set_read_timeout(20);
    return client;
  }
  static httplib::Result Get(const std::string& page, const std::string& cookie = "") {
    return Client()->Get("/orbitel/" + page, {{"Cookie", cookie}});
  }
  static httplib::Result Post(const std::string& page, const std::string& cookie, const std::string& body) {
    return Client()->Post("/orbitel/" + page, {{"Cookie", cookie}}, body, "application/x-www-form-urlencoded");
  }
  static std::string CookieOf(const httplib::Result& answer) {
    const std::string header = answer->get_header_value("Set-Cookie");
    return header.substr(0, header.find(';'));
  }
  static std::string TokenOf(const std::string& html) { return Match(html, "name=\"FormToken\" value=\"([^\"]*)\""); }
  // The cookie of a new session signed in with that account.
  static std::string SignIn(const std::string& account) {
    auto form = Get("CalendarLogin.asp");
    auto signed_in = Post("CalendarLogin.asp", CookieOf(form),
                          "FormToken=" + TokenOf(form->body) + "&cstrUserName=" + account + "&cstrPassword=" +
                              account + "&action=Login&ReturnUrl=CalendarMonth.asp");
    return CookieOf(signed_in);
  }

  static inline fs::path folder_;
  static inline std::string failure_;
  static inline std::unique_ptr<orbitel::testing::SlapdServer> directory_;
  static inline std::unique_ptr<data::testing::RadicaleServer> calendars_;
  static inline int port_ = 0, ports_[2] = {0, 0};
  static inline pid_t nginx_ = -1, pids_[2] = {-1, -1};
};

TEST_F(BehindNginx, SignsInOverHttpsUnderTheBasePathWithTheCookieMarkedSecure) {
  auto month = Get("CalendarMonth.asp");
  ASSERT_TRUE(month) << httplib::to_string(month.error()) << ReadWholeFile(folder_ / "nginx-error.log");
  EXPECT_EQ(month->status, 302);
  // Relative, so the browser stays under /orbitel/.
  EXPECT_EQ(month->get_header_value("Location"), "CalendarLogin.asp?ReturnUrl=CalendarMonth.asp");

  auto form = Get("CalendarLogin.asp?ReturnUrl=CalendarWeek.asp?DAY=3&MONTH=2&YEAR=2004");
  EXPECT_EQ(form->status, 200);
  EXPECT_NE(form->body.find("href=\"styles/orbitel.css\""), npos);
  // nginx told the processes the visitor came over HTTPS; the cookie is for this folder alone.
  const std::string set_cookie = form->get_header_value("Set-Cookie");
  EXPECT_NE(set_cookie.find("; HttpOnly; SameSite=Lax; Secure"), npos) << set_cookie;
  EXPECT_EQ(set_cookie.find("Path="), npos) << set_cookie;

  auto signed_in = Post("CalendarLogin.asp", CookieOf(form),
                        "FormToken=" + TokenOf(form->body) +
                            "&cstrUserName=team&cstrPassword=team&action=Login&ReturnUrl=CalendarWeek.asp");
  EXPECT_EQ(signed_in->status, 302);
  EXPECT_EQ(signed_in->get_header_value("Location"), "CalendarWeek.asp");

  // A page that does not exist, deep under the base path, still finds its style and home.
  auto missing = Get("no/such/page.asp");
  EXPECT_EQ(missing->status, 404);
  EXPECT_NE(missing->body.find("href=\"../../styles/orbitel.css\""), npos);
  EXPECT_NE(missing->body.find("href=\"../../default.asp\""), npos);
}

TEST_F(BehindNginx, EitherProcessServesTheSessionAndSeesTheOthersSaves) {
  const std::string team = SignIn("team");
  ASSERT_FALSE(team.empty());
  const int before[2] = {Answered(0), Answered(1)};
  for (const char* page : {"CalendarMonth.asp", "CalendarWeek.asp", "CalendarDay.asp", "CalendarNow.asp",
                           "CalendarMonth.asp?MONTH=3&YEAR=2030", "CalendarWeek.asp?DAY=4&MONTH=3&YEAR=2030"}) {
    auto shown = Get(page, team);
    EXPECT_EQ(shown->status, 200) << page;
    // The team is the directory server's, not the demo file's.
    EXPECT_NE(shown->body.find("Alice Walker"), npos) << page;
    EXPECT_EQ(shown->body.find("David Chen"), npos) << page;
  }
  // nginx passes each request to the next process: both answered, neither signed the visitor out.
  EXPECT_GE(Answered(0) - before[0], 3);
  EXPECT_GE(Answered(1) - before[1], 3);

  // An appointment saved through one process is on the day page whichever process shows it.
  const std::string admin = SignIn("admin");
  auto form = Get("CalendarItem.asp?UserName=alice&Method=New", admin);
  auto saved = Post("CalendarItem.asp", admin,
                    "FormToken=" + TokenOf(form->body) +
                        "&Method=New&action=Save&UserName=alice&subject=Through+nginx&location=Yard"
                        "&StartYear=2030&StartMonth=3&StartDay=4&StartTime=9%3A00+AM&EndYear=2030&EndMonth=3"
                        "&EndDay=4&EndTime=9%3A30+AM&busystatus=BUSY&txtMsgBody=");
  EXPECT_EQ(saved->get_header_value("Location"), "CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice")
      << saved->status << saved->body.substr(0, 3000);
  for (int i = 0; i < 2; ++i) {
    EXPECT_NE(Get("CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice", team)->body.find("Through nginx"),
              npos);
  }
  // It went to the calendar server.
  std::string stored;
  for (const auto& item : fs::directory_iterator(calendars_->storage() / "collection-root/exchange/alice/calendar")) {
    if (item.is_regular_file()) stored += ReadWholeFile(item.path());
  }
  EXPECT_NE(stored.find("SUMMARY:Through nginx"), npos);

  // So are the options saved through one of them.
  auto options = Get("CalendarOptions.asp", admin);
  auto kept = Post("CalendarOptions.asp", admin,
                   "FormToken=" + TokenOf(options->body) +
                       "&action=Save+Changes&cstrExchangeConnectionMethod=False&cstrExchangeDomain=127.0.0.1%3A1"
                       "&cstrShowLocation=Yes&cstrLocationEntry=Meeting+room&cstrLocationNoEntry=Nowhere"
                   "&cstrUserUserName=team&cstrUserPassword=team&cstrAdminUserName=admin&cstrAdminPassword=admin"
                   "&AddUser=alice%2C+bmartin");
  EXPECT_NE(kept->body.find("Status: Saved"), npos);
  for (int i = 0; i < 2; ++i) {
    EXPECT_NE(Get("CalendarOptions.asp", admin)->body.find("value=\"Meeting room\""), npos);
  }
  // The calendar server now named does not answer: the month says so, and the site's error file
  // and the process's stderr (the service's journal) both get the entry.
  EXPECT_NE(Get("CalendarMonth.asp", team)->body.find("ERROR:"), npos);
  EXPECT_NE(ReadWholeFile(folder_ / "site" / "Errorfile.Log").find("Functions.GetUsersCalender"), npos);
  EXPECT_NE((ReadWholeFile(Log(0)) + ReadWholeFile(Log(1))).find("orbitel: error in Functions.GetUsersCalender"),
            npos);
}

TEST_F(BehindNginx, AVisitorGoesOnSignedInWhenOneProcessStops) {
  const std::string team = SignIn("team");
  orbitel::testing::StopServer(pids_[0]);
  for (int i = 0; i < 4; ++i) EXPECT_NE(Get("CalendarMonth.asp", team)->body.find("Alice Walker"), npos);
}

}  // namespace
}  // namespace orbitel::host
