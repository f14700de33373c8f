// Orbitel as an organisation runs it: Debian's nginx in front, with HTTPS on a certificate made
// here, the site under /orbitel/, and two orbitel processes on one demo site taking requests in
// turn. nginx runs the README's configuration (packaging/nginx/orbitel.conf) with only the ports
// and the certificate changed.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "ServerProcess.h"
#include "TempFolder.h"
#include "host/DemoSite.h"
#include "host/SiteVisitor.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;
using orbitel::testing::FreePort;
using orbitel::testing::ReadWholeFile;
constexpr auto npos = std::string::npos;
constexpr char kNginx[] = "/usr/sbin/nginx";

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
    if (!PrepareDemoSite("www", folder_ + "/site", progress).ok()) {
      failure_ = "no demo site: " + progress.str();
      return;
    }
    const std::string make_cert = "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1 -addext "
                                  "subjectAltName=IP:127.0.0.1 -keyout " + folder_ + "/tls.key -out " + folder_ +
                                  "/tls.pem >" + folder_ + "/openssl.log 2>&1";
    if (std::system(make_cert.c_str()) != 0) {
      failure_ = "openssl made no certificate: " + ReadWholeFile(folder_ + "/openssl.log");
      return;
    }
    for (int i = 0; i < 2; ++i) {
      ports_[i] = FreePort();
      pids_[i] = orbitel::testing::StartServer(
          {ORBITEL_BINARY, "serve", "--site", folder_ + "/site", "--threads", "4", "--listen",
           "127.0.0.1:" + std::to_string(ports_[i]), "--trusted-proxy", "127.0.0.1"},
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
    std::string conf = "daemon off;\nmaster_process off;\npid " + folder_ + "/nginx.pid;\nerror_log " + folder_ +
                       "/nginx-error.log;\nevents { worker_connections 64; }\nhttp {\naccess_log off;\n";
    for (const char* temp : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
      conf += std::string(temp) + "_temp_path " + folder_ + "/" + temp + ";\n";
    }
    std::ofstream(folder_ + "/nginx.conf") << conf << site << "}\n";
    nginx_ = orbitel::testing::StartServer({kNginx, "-p", folder_, "-c", folder_ + "/nginx.conf"},
                                           folder_ + "/nginx.log", port_, failure_);
  }

  static void TearDownTestSuite() {
    orbitel::testing::StopServer(nginx_);
    for (pid_t& pid : pids_) orbitel::testing::StopServer(pid);
    fs::remove_all(folder_);
  }

  void SetUp() override {
    if (!failure_.empty()) GTEST_FAIL() << failure_;
  }

  static inline std::string folder_;
  static inline std::string failure_;
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

  // A page that does not exist, deep under the base path, still finds its style and home.
  auto missing = Get("/no/such/page.asp");
  EXPECT_EQ(missing->status, 404);
  EXPECT_NE(missing->body.find("href=\"../../styles/orbitel.css\""), npos);
  EXPECT_NE(missing->body.find("href=\"../../default.asp\""), npos);
}

// nginx passes each request to the next process: each opens the visitor's session, and sees
// what was saved through the other.
TEST_F(BehindNginx, EitherProcessServesTheSessionAndSeesTheOthersSaves) {
  const std::string team = SignIn(), admin = SignIn("admin");
  ASSERT_FALSE(team.empty());
  for (const char* page : {"/CalendarMonth.asp", "/CalendarWeek.asp", "/CalendarDay.asp", "/CalendarNow.asp"}) {
    auto shown = Get(page, team);
    EXPECT_EQ(shown->status, 200) << page;
    EXPECT_NE(shown->body.find("Alice Walker"), npos) << page;
  }
  // The options, saved through one of them.
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
