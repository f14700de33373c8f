// The access check's levels and redirects, and the error log's line layout and fallback.
#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <thread>
#include <vector>

#include "SiteFixture.h"
#include "site/AccessControl.h"
#include "site/Clock.h"
#include "site/ErrorLog.h"
#include "site/SiteFiles.h"

namespace orbitel::site {
namespace {

using testing::ReadFile;
using testing::SiteFixture;

class AccessTest : public SiteFixture {};

TEST_F(AccessTest, LevelsAdmitExactSessionValues) {
  const struct {
    const char* session;
    std::int16_t level;
    bool admitted;
  } cases[] = {
      {"User", 1, true},   {"User", 2, false},  {"Admin", 1, true}, {"Admin", 2, true},
      {"user", 1, false},  {"ADMIN", 2, false}, {"", 1, false},     {"Admin", 3, false},
      {"User ", 1, false},
  };
  for (const auto& c : cases) {
    context_ = std::make_shared<MemoryPageContext>();
    Site().PageContext = context_;
    if (*c.session) context_->SetSession("SessionID", c.session);
    CheckAccess(c.level, "CalendarOptions.asp");
    EXPECT_EQ(context_->redirects().empty(), c.admitted) << c.session << " level " << c.level;
  }
}

class ErrorLogTest : public SiteFixture {};

TEST_F(ErrorLogTest, LineLayoutIsQuotedAndEndsWithCrLf) {
  FixClock(*Date::FromParts(2003, 3, 5)->AddSeconds(9 * 3600 + 5 * 60 + 59));
  WriteErrorLog("AdminStuff.GetSiteVars", "53", "File not found");
  WriteErrorLog("Functions.GetUsersCalender", Status::Error(-2147217895, "Cannot open"), "alice");
  FixClock(std::nullopt);
  EXPECT_EQ(ErrorLog(),
            "\"3/5/2003 9:05:59 AM, Routine : AdminStuff.GetSiteVars, 53   File not found.  ----  \"\r\n"
            "\"3/5/2003 9:05:59 AM, Routine : Functions.GetUsersCalender, -2147217895   "
            "Cannot open.  ----  alice\"\r\n");
}

TEST_F(ErrorLogTest, UnwritableSiteFolderFallsBackToTheTemporaryFolder) {
  // A folder that does not exist stands in for one that cannot be written (root writes anyway).
  Site().SitePath = (folder_ / "missing").string() + "/";
  const std::string marker = "fallback-" + std::to_string(::getpid());
  WriteErrorLog("AdminStuff.GetFolderPaths", "9", "Subscript out of range", marker);
  EXPECT_NE(ReadFile(files::FallbackErrorLog()).find(marker + "\"\r\n"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "Errorfile.Log"));
}

TEST_F(ErrorLogTest, ConcurrentLinesNeverInterleave) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      Site().SitePath = folder_.string() + "/";
      for (int i = 0; i < 200; ++i) WriteErrorLog("Options.Login", std::to_string(t), std::string(300, 'a' + t));
    });
  }
  for (auto& thread : threads) thread.join();
  const std::string log = ErrorLog();
  const std::regex line("\"[^\"]*, Routine : Options.Login, ([0-3])   (a+|b+|c+|d+)\\.  ----  \"\r\n");
  EXPECT_EQ(std::distance(std::sregex_iterator(log.begin(), log.end(), line), std::sregex_iterator()), 800);
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 800);
}

}  // namespace
}  // namespace orbitel::site
