// Orbitel as an organisation runs it: Debian's nginx in front, with HTTPS on a certificate made
// here, the site under /orbitel/, and two orbitel processes on one site folder taking requests
// in turn, the people in an LDAP server (slapd) and the calendars on a CalDAV server (Radicale).
// nginx runs the README's configuration (packaging/nginx/orbitel.conf) with only the ports and
// the certificate changed.
#include <gtest/gtest.h>

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
#include "host/SiteVisitor.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;
using orbitel::testing::FreePort;
using orbitel::testing::ReadWholeFile;
constexpr auto npos = std::string::npos;
constexpr char kNginx[] = "/usr/sbin/nginx";
constexpr char kSuffix[] = "dc=orbitel,dc=test";
// The team in the directory server, each with a calendar on the calendar server.
constexpr const char* kPeople[][2] = {{"alice", "Alice Walker"}, {"bmartin", "Ben Martin"}, {"cdiaz", "Carla Diaz"}};

// `text` with each (pattern, replacement) pair of `changes` applied.
std::string Changed(std::string text, const std::vector<std::pair<std::string, std::string>>& changes) {
  for (const auto& [pattern, replacement] : changes) text = std::regex_replace(text, std::regex(pattern), replacement);
  return text;
}

class BehindNginx : public ::testing::Test, public SiteVisitor {
 protected:
  BehindNginx() : SiteVisitor{"https://127.0.0.1:" + std::to_string(port_), "/orbitel", folder_ + "/tls.pem"} {}

  static std::string Log(int i) { return folder_ + "/orbitel-" + std::to_string(i) + ".log"; }

  static void SetUpTestSuite() {
    folder_ = orbitel::testing::MakeTempFolder("orbitel-nginx").string();
    std::ostringstream progress;
    if (::access(kNginx, X_OK) != 0) {
      failure_ = std::string(kNginx) + " is missing: scripts/setup --tests installs nginx";
      return;
    } else if (!PrepareDemoSite("www", folder_ + "/site", progress).ok()) {
      failure_ = "no demo site: " + progress.str();
      return;
    }
    std::string ldif = "dn: " + std::string(kSuffix) + "\nobjectClass: dcObject\nobjectClass: organization\n"
                       "dc: orbitel\no: Orbitel\n\n";
    std::vector<std::string> accounts;
    for (const auto& [account, name] : kPeople) {
      ldif += "dn: uid=" + std::string(account) + "," + kSuffix + "\nobjectClass: inetOrgPerson\nuid: " + account +
              "\ncn: " + name + "\nsn: " + name + "\n\n";
      accounts.push_back(account);
    }
    directory_ = std::make_unique<orbitel::testing::SlapdServer>(kSuffix);
    if (failure_ = directory_->Start(); !failure_.empty()) return;
    if (failure_ = directory_->Add(ldif); !failure_.empty()) return;
    calendars_ = std::make_unique<data::testing::RadicaleServer>();
    if (failure_ = calendars_->Start("orbitel", "calendar-secret"); !failure_.empty()) return;
    if (failure_ = calendars_->MakeSiteCalendars(accounts); !failure_.empty()) return;
    // The site's store is the calendar server, as the options page names it.
    const std::string settings = folder_ + "/site/OrbitelSettings.xml";
    const std::string server = "ExchangeServerName='127.0.0.1:" + std::to_string(calendars_->port()) + "'";
    const std::string changed = Changed(ReadWholeFile(settings), {{"ExchangeServerName=''", server},
                                                                  {"ExchangeViaBackoffice='True'", "ExchangeViaBackoffice='False'"}});
    std::ofstream(settings) << changed;
    std::ofstream(folder_ + "/caldav.conf") << "user: orbitel\npassword: calendar-secret\n";
    fs::permissions(folder_ + "/caldav.conf", fs::perms::owner_read | fs::perms::owner_write);
    const std::string make_cert = "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1 -addext "
                                  "subjectAltName=IP:127.0.0.1 -keyout " + folder_ + "/tls.key -out " + folder_ + "/tls.pem >" +
                                  folder_ + "/openssl.log 2>&1";
    if (std::system(make_cert.c_str()) != 0) {
      failure_ = "openssl made no certificate: " + ReadWholeFile(folder_ + "/openssl.log");
      return;
    }
    for (int i = 0; i < 2; ++i) {
      ports_[i] = FreePort();
      pids_[i] = orbitel::testing::StartServer(
          {ORBITEL_BINARY, "serve", "--site", folder_ + "/site", "--threads", "4", "--listen",
           "127.0.0.1:" + std::to_string(ports_[i]), "--trusted-proxy", "127.0.0.1", "--directory", directory_->Uri(),
           "--store-credentials", folder_ + "/caldav.conf"},
          Log(i), ports_[i], failure_);
      if (pids_[i] <= 0) return;
    }

    // The README's configuration, inside the few lines nginx needs to run as a test's child.
    port_ = FreePort();
    const std::string site = Changed(ReadWholeFile("packaging/nginx/orbitel.conf"),
                                     {{"127.0.0.1:8080", "127.0.0.1:" + std::to_string(ports_[0])},
                                      {"127.0.0.1:8081", "127.0.0.1:" + std::to_string(ports_[1])},
                                      {"listen 443 ssl", "listen 127.0.0.1:" + std::to_string(port_) + " ssl"},
                                      {"/etc/ssl/certs/intranet.example.pem", folder_ + "/tls.pem"},
                                      {"/etc/ssl/private/intranet.example.key", folder_ + "/tls.key"}});
    std::ofstream conf(folder_ + "/nginx.conf");
    conf << "daemon off;\nmaster_process off;\npid " << folder_ << "/nginx.pid;\nerror_log " << folder_
         << "/nginx-error.log;\nevents { worker_connections 64; }\nhttp {\naccess_log off;\n";
    for (const char* temp : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
      conf << temp << "_temp_path " << folder_ << "/" << temp << ";\n";
    }
    conf << site << "}\n";
    conf.close();
    nginx_ = orbitel::testing::StartServer({kNginx, "-p", folder_, "-c", folder_ + "/nginx.conf"}, folder_ + "/nginx.log", port_,
                                           failure_);
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

  // Requests a process has answered so far, from its access log.
  static int Answered(int i) {
    const std::string log = ReadWholeFile(Log(i));
    int lines = 0;
    for (std::size_t at = log.find(" /"); at != npos; at = log.find(" /", at + 1)) ++lines;
    return lines;
  }

  static inline std::string folder_;
  static inline std::string failure_;
  static inline std::unique_ptr<orbitel::testing::SlapdServer> directory_;
  static inline std::unique_ptr<data::testing::RadicaleServer> calendars_;
  static inline int port_ = 0, ports_[2] = {0, 0};
  static inline pid_t nginx_ = -1, pids_[2] = {-1, -1};
};

TEST_F(BehindNginx, SignsInOverHttpsUnderTheBasePathWithTheCookieMarkedSecure) {
  auto month = Get("/CalendarMonth.asp");
  ASSERT_TRUE(month) << httplib::to_string(month.error()) << ReadWholeFile(folder_ + "/nginx-error.log");
  EXPECT_EQ(month->status, 302);
  // Relative, so the browser stays under /orbitel/.
  EXPECT_EQ(month->get_header_value("Location"), "CalendarLogin.asp?ReturnUrl=CalendarMonth.asp");

  auto form = Get("/CalendarLogin.asp?ReturnUrl=CalendarWeek.asp?DAY=3&MONTH=2&YEAR=2004");
  EXPECT_EQ(form->status, 200);
  EXPECT_NE(form->body.find("href=\"styles/orbitel.css\""), npos);
  // nginx told the processes the visitor came over HTTPS; the cookie is for this folder alone.
  const std::string set_cookie = form->get_header_value("Set-Cookie");
  EXPECT_NE(set_cookie.find("; HttpOnly; SameSite=Lax; Secure"), npos) << set_cookie;
  EXPECT_EQ(set_cookie.find("Path="), npos) << set_cookie;
  auto signed_in = SignInAnswer("team", "team", "CalendarWeek.asp");
  EXPECT_EQ(signed_in->status, 302);
  EXPECT_EQ(signed_in->get_header_value("Location"), "CalendarWeek.asp");

  // A page that does not exist, deep under the base path, still finds its style and home.
  auto missing = Get("/no/such/page.asp");
  EXPECT_EQ(missing->status, 404);
  EXPECT_NE(missing->body.find("href=\"../../styles/orbitel.css\""), npos);
  EXPECT_NE(missing->body.find("href=\"../../default.asp\""), npos);
}

TEST_F(BehindNginx, EitherProcessServesTheSessionAndSeesTheOthersSaves) {
  const std::string team = SignIn();
  ASSERT_FALSE(team.empty());
  const int before[2] = {Answered(0), Answered(1)};
  for (const char* page : {"/CalendarMonth.asp", "/CalendarWeek.asp", "/CalendarDay.asp", "/CalendarNow.asp",
                           "/CalendarMonth.asp?MONTH=3&YEAR=2030", "/CalendarWeek.asp?DAY=4&MONTH=3&YEAR=2030"}) {
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
  auto saved = Submit("/CalendarItem.asp?UserName=alice&Method=New", admin,
                      "Method=New&action=Save&UserName=alice&subject=Through+nginx&location=Yard&StartYear=2030"
                      "&StartMonth=3&StartDay=4&StartTime=9%3A00+AM&EndYear=2030&EndMonth=3&EndDay=4"
                      "&EndTime=9%3A30+AM&busystatus=BUSY&txtMsgBody=");
  EXPECT_EQ(saved->get_header_value("Location"), "CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice")
      << saved->status << saved->body.substr(0, 3000);
  for (int i = 0; i < 2; ++i) {
    EXPECT_NE(Get("/CalendarPersonalDay.asp?DAY=4&MONTH=3&YEAR=2030&USER=alice", team)->body.find("Through nginx"),
              npos);
  }
  // It went to the calendar server.
  std::string stored;
  for (const auto& item : fs::directory_iterator(calendars_->storage() / "collection-root/exchange/alice/calendar")) {
    if (item.is_regular_file()) stored += ReadWholeFile(item.path());
  }
  EXPECT_NE(stored.find("SUMMARY:Through nginx"), npos);

  // So are the options saved through one of them.
  auto kept = Submit("/CalendarOptions.asp", admin,
                     "action=Save+Changes&cstrExchangeConnectionMethod=False&cstrExchangeDomain=127.0.0.1%3A1"
                     "&cstrShowLocation=Yes&cstrLocationEntry=Meeting+room&cstrLocationNoEntry=Nowhere"
                     "&cstrUserUserName=team&cstrUserPassword=team&cstrAdminUserName=admin&cstrAdminPassword=admin"
                     "&AddUser=alice%2C+bmartin");
  EXPECT_NE(kept->body.find("Status: Saved"), npos);
  for (int i = 0; i < 2; ++i) {
    EXPECT_NE(Get("/CalendarOptions.asp", admin)->body.find("value=\"Meeting room\""), npos);
  }
  // The calendar server now named does not answer: the month says so, and the site's error file
  // and the process's stderr (the service's journal) both get the entry.
  EXPECT_NE(Get("/CalendarMonth.asp", team)->body.find("ERROR:"), npos);
  EXPECT_NE(ReadWholeFile(folder_ + "/site/Errorfile.Log").find("Functions.GetUsersCalender"), npos);
  EXPECT_NE((ReadWholeFile(Log(0)) + ReadWholeFile(Log(1))).find("orbitel: error in Functions.GetUsersCalender"),
            npos);
}

TEST_F(BehindNginx, AVisitorGoesOnSignedInWhenOneProcessStops) {
  const std::string team = SignIn();
  orbitel::testing::StopServer(pids_[0]);
  for (int i = 0; i < 4; ++i) EXPECT_NE(Get("/CalendarMonth.asp", team)->body.find("Alice Walker"), npos);
}

}  // namespace
}  // namespace orbitel::host
