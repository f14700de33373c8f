// One server holding two teams' sites (`orbitel serve --sites DIR`): each at /<folder>/ with
// its own people, sign-in and session key, an index of them at "/".
#include <gtest/gtest.h>
#include <httplib.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "ServerProcess.h"
#include "TempFolder.h"
#include "host/DemoSite.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;
using orbitel::testing::ReadWholeFile;

std::string Match(const std::string& text, const std::string& pattern) {
  std::smatch match;
  return std::regex_search(text, match, std::regex(pattern)) ? match[1].str() : "";
}

// The LDIF text without the entry whose lines include `line`.
std::string WithoutEntry(const std::string& ldif, const std::string& line) {
  std::string kept;
  std::istringstream entries(std::regex_replace(ldif, std::regex("\n\n+"), "\x1e"));
  for (std::string entry; std::getline(entries, entry, '\x1e');) {
    if (entry.find(line) == std::string::npos) kept += entry + "\n\n";
  }
  return kept;
}

class ManySites : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = orbitel::testing::MakeTempFolder("orbitel-sites");
    std::ostringstream progress;
    for (const char* team : {"north", "south"}) {
      if (!PrepareDemoSite("www", folder_ / "sites" / team, progress).ok()) {
        failure_ = "no demo site: " + progress.str();
        return;
      }
    }
    // The south team has no Alice and its own team password.
    const fs::path south = folder_ / "sites" / "south";
    const std::string ldif = WithoutEntry(ReadWholeFile(south / "directory.ldif"), "cn: Alice Walker");
    std::ofstream(south / "directory.ldif") << ldif;
    const std::string settings =
        std::regex_replace(ReadWholeFile(south / "OrbitelSettings.xml"), std::regex("UserPassword='team'"),
                           "UserPassword='south'");
    std::ofstream(south / "OrbitelSettings.xml") << settings;
    // Neither a site nor reachable by its name: left out.
    fs::create_directories(folder_ / "sites" / "notes");
    // One request thread, so every request after the first comes to a thread that last served
    // the other site.
    port_ = orbitel::testing::FreePort();
    pid_ = orbitel::testing::StartServer({ORBITEL_BINARY, "serve", "--sites", (folder_ / "sites").string(),
                                          "--threads", "1", "--listen", "127.0.0.1:" + std::to_string(port_)},
                                         (folder_ / "orbitel.log").string(), port_, failure_);
  }
  static void TearDownTestSuite() {
    orbitel::testing::StopServer(pid_);
    fs::remove_all(folder_);
  }
  void SetUp() override {
    if (!failure_.empty()) GTEST_FAIL() << failure_;
  }

  static httplib::Result Get(const std::string& path, const std::string& cookie = "") {
    httplib::Client client("127.0.0.1", port_);
    return client.Get(path, {{"Cookie", cookie}});
  }
  static std::string CookieOf(const httplib::Result& answer) {
    const std::string header = answer->get_header_value("Set-Cookie");
    return header.substr(0, header.find(';'));
  }
  // The cookie of a session signed in to a site's team pages.
  static std::string SignIn(const std::string& site, const std::string& password) {
    auto form = Get("/" + site + "/CalendarLogin.asp");
    httplib::Client client("127.0.0.1", port_);
    auto signed_in = client.Post(
        "/" + site + "/CalendarLogin.asp", {{"Cookie", CookieOf(form)}},
        "FormToken=" + Match(form->body, "name=\"FormToken\" value=\"([^\"]*)\"") +
            "&cstrUserName=team&cstrPassword=" + password + "&action=Login&ReturnUrl=CalendarMonth.asp",
        "application/x-www-form-urlencoded");
    return signed_in && signed_in->status == 302 ? CookieOf(signed_in) : "";
  }

  static inline fs::path folder_;
  static inline std::string failure_;
  static inline int port_ = 0;
  static inline pid_t pid_ = -1;
};

TEST_F(ManySites, TheIndexLeadsToEachSiteAndNowhereElse) {
  auto index = Get("/");
  ASSERT_TRUE(index);
  EXPECT_EQ(index->status, 200);
  EXPECT_NE(index->body.find("<a href=\"north/\">north</a>"), std::string::npos) << index->body;
  EXPECT_NE(index->body.find("<a href=\"south/\">south</a>"), std::string::npos);
  EXPECT_EQ(index->body.find("notes"), std::string::npos);

  auto bare = Get("/north");
  EXPECT_EQ(bare->status, 301);
  EXPECT_EQ(bare->get_header_value("Location"), "north/");
  EXPECT_EQ(Get("/north/")->status, 200);
  EXPECT_EQ(Get("/north/styles/orbitel.css")->status, 200);
  for (const char* nowhere : {"/notes/", "/nor/", "/east/CalendarMonth.asp", "/CalendarMonth.asp", "/styles/orbitel.css",
                              "/north/OrbitelSettings.xml", "/north/../south/"}) {
    EXPECT_NE(Get(nowhere)->status, 200) << nowhere;
  }

  auto health = Get("/healthz");
  EXPECT_EQ(health->status, 200) << health->body;
  EXPECT_NE(health->body.find("\"north\":{\"status\":\"ok\""), std::string::npos) << health->body;
  EXPECT_NE(health->body.find("\"south\":{\"status\":\"ok\""), std::string::npos);
  EXPECT_NE(Get("/south/healthz")->body.find("\"people\":"), std::string::npos);
}

TEST_F(ManySites, EachSiteSignsInAndShowsItsOwnTeam) {
  const std::string north = SignIn("north", "team");
  const std::string south = SignIn("south", "south");
  ASSERT_FALSE(north.empty());
  ASSERT_FALSE(south.empty());
  EXPECT_TRUE(SignIn("south", "team").empty()) << "the north team's password opens the south site";

  auto north_month = Get("/north/CalendarMonth.asp", north);
  auto south_month = Get("/south/CalendarMonth.asp", south);
  ASSERT_EQ(north_month->status, 200);
  ASSERT_EQ(south_month->status, 200);
  EXPECT_NE(north_month->body.find("Alice Walker"), std::string::npos);
  EXPECT_EQ(south_month->body.find("Alice Walker"), std::string::npos);
  EXPECT_NE(south_month->body.find("Ben Martin"), std::string::npos);

  // A session is its own site's alone: the other site's key does not open it.
  EXPECT_NE(Get("/south/CalendarMonth.asp", north)->status, 200);
  EXPECT_NE(Get("/north/CalendarMonth.asp", south)->status, 200);
}

}  // namespace
}  // namespace orbitel::host
