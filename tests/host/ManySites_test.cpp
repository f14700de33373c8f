// One server holding two teams' sites (`orbitel serve --sites DIR`): each at /<folder>/ with
// its own people, sign-in and session key, an index of them at "/".
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "ServerProcess.h"
#include "TempFolder.h"
#include "host/DemoSite.h"
#include "host/SiteVisitor.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;
constexpr auto npos = std::string::npos;

class ManySites : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = orbitel::testing::MakeTempFolder("orbitel-sites").string();
    std::ostringstream said;
    for (const char* team : {"north", "south"}) {
      if (!PrepareDemoSite("www", folder_ + "/sites/" + team, said).ok()) failure_ = "no demo site: " + said.str();
    }
    // The south team's Alice has another name, and the team its own password.
    for (const auto& [file, from, to] : {std::tuple{"directory.ldif", "Name: Alice Walker", "Name: Alice South"},
                                         std::tuple{"OrbitelSettings.xml", "Password='team'", "Password='south'"}}) {
      const std::string path = folder_ + "/sites/south/" + file;
      const std::string text = std::regex_replace(orbitel::testing::ReadWholeFile(path), std::regex(from), to);
      std::ofstream(path) << text;
    }
    fs::create_directories(folder_ + "/sites/notes");  // neither a site nor reachable by its name
    // One request thread, so every request after the first comes to a thread that last served
    // the other site.
    port_ = orbitel::testing::FreePort();
    if (failure_.empty()) {
      pid_ = orbitel::testing::StartServer({ORBITEL_BINARY, "serve", "--sites", folder_ + "/sites", "--threads", "1",
                                            "--listen", "127.0.0.1:" + std::to_string(port_)},
                                           folder_ + "/orbitel.log", port_, failure_);
    }
  }
  static void TearDownTestSuite() {
    orbitel::testing::StopServer(pid_);
    fs::remove_all(folder_);
  }
  void SetUp() override {
    if (!failure_.empty()) GTEST_FAIL() << failure_;
  }
  // A visitor of the site in that folder, or of the index at "/" when none.
  static SiteVisitor Visitor(const std::string& site = "") {
    return {"http://127.0.0.1:" + std::to_string(port_), site.empty() ? "" : "/" + site};
  }

  static inline std::string folder_, failure_;
  static inline int port_ = 0;
  static inline pid_t pid_ = -1;
};

TEST_F(ManySites, TheIndexLeadsToEachSiteAndNowhereElse) {
  auto index = Visitor().Get("/");
  EXPECT_EQ(index->status, 200);
  EXPECT_NE(index->body.find("<a href=\"north/\">north</a>"), npos) << index->body;
  EXPECT_NE(index->body.find("<a href=\"south/\">south</a>"), npos);
  EXPECT_EQ(index->body.find("notes"), npos);
  auto bare = Visitor().Get("/north");
  EXPECT_EQ(bare->status, 301);
  EXPECT_EQ(bare->get_header_value("Location"), "north/");
  EXPECT_EQ(Visitor("north").Get("/")->status, 200);
  EXPECT_EQ(Visitor("north").Get("/styles/orbitel.css")->status, 200);
  for (const char* nowhere : {"/notes/", "/nor/", "/east/CalendarMonth.asp", "/CalendarMonth.asp",
                              "/styles/orbitel.css", "/north/OrbitelSettings.xml", "/north/../south/"}) {
    EXPECT_NE(Visitor().Get(nowhere)->status, 200) << nowhere;
  }
  auto health = Visitor().Get("/healthz");
  EXPECT_EQ(health->status, 200) << health->body;
  EXPECT_NE(health->body.find("\"north\":{\"status\":\"ok\""), npos) << health->body;
  EXPECT_NE(health->body.find("\"south\":{\"status\":\"ok\""), npos);
  EXPECT_NE(Visitor("south").Get("/healthz")->body.find("\"people\":"), npos);
}

TEST_F(ManySites, EachSiteSignsInAndShowsItsOwnTeam) {
  const std::string north = Visitor("north").SignIn(), south = Visitor("south").SignIn("team", "south");
  EXPECT_TRUE(Visitor("south").SignIn().empty()) << "the north team's password opens the south site";
  // Asked twice each, the second from the page cache: a kept page is its own site's alone.
  for (int i = 0; i < 2; ++i) Visitor("north").Get("/CalendarMonth.asp", north);
  auto south_month = Visitor("south").Get("/CalendarMonth.asp", south);
  south_month = Visitor("south").Get("/CalendarMonth.asp", south);
  auto north_month = Visitor("north").Get("/CalendarMonth.asp", north);
  ASSERT_EQ(north_month->status, 200);
  ASSERT_EQ(south_month->status, 200);
  EXPECT_NE(north_month->body.find("Alice Walker"), npos);
  EXPECT_EQ(south_month->body.find("Alice Walker"), npos);
  EXPECT_NE(south_month->body.find("Alice South"), npos);
  // A session is its own site's alone: the other site's key does not open it.
  EXPECT_NE(Visitor("south").Get("/CalendarMonth.asp", north)->status, 200);
  EXPECT_NE(Visitor("north").Get("/CalendarMonth.asp", south)->status, 200);
}

}  // namespace
}  // namespace orbitel::host
