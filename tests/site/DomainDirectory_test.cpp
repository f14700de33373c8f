// The domain's name and the listing of its people, over real directory files.
#include <gtest/gtest.h>

#include "SiteFixture.h"
#include "site/DomainDirectory.h"
#include "site/ErrorHtml.h"
#include "site/SiteSettings.h"

namespace orbitel::site {
namespace {

class DomainDirectoryTest : public testing::SiteFixture {};

TEST(ExclusionRules, MixExactPrefixesWithCaseBlindNames) {
  const std::pair<const char*, bool> cases[] = {
      {"alice", true},           {"IUSR_WEB", false},         {"iusr_web", true},
      {"IWAM_WEB", false},       {"VUSR_X", false},           {"EUSER_1", false},
      {"EUSER", true},           {"TsInternetUser", false},   {"tsinternetuser", true},
      {"NetShowServices", false}, {"SQLServerAgent", false},  {"Room2Booking", false},
      {"TempRoom7", false},      {"Room3", true},             {"ConferenceCalendar1", false},
      {"myExternal", false},     {"HallvardTrent", false},    {"ORBITEL", false},
      {"orbitel2", true},        {"QuillonOrbitel", false},
  };
  for (const auto& [name, listed] : cases) EXPECT_EQ(IsListedAccount(name, false), listed) << name;
  EXPECT_FALSE(IsListedAccount("alice", true));
}

TEST_F(DomainDirectoryTest, ListsTheDomainsEnabledPeopleInDirectoryOrder) {
  ConnectDirectory("tests/fixtures/directory.ldif");
  EXPECT_EQ(GetDomainName(), "corp.example");
  GetSiteVars();
  UserList users;
  GetFolderPaths(users);
  EXPECT_EQ(users, (UserList{"zadams|Zoe Adams", "rblanc|Ren\xC3\xA9" "e Blanc", "pat|Pat Lee",
                             "both|Both Names", "hex|"}));
}

TEST_F(DomainDirectoryTest, NoDomainSetsTheMessageAndLogs) {
  ConnectDirectory("");
  GetSiteVars();
  Site().ErrorText = "earlier";
  UserList users;
  GetFolderPaths(users);
  EXPECT_TRUE(users.empty());
  EXPECT_EQ(Site().ErrorText, NoDomainError());
  EXPECT_NE(ErrorLog().find("Routine : AdminStuff.GetFolderPaths, 9   Subscript out of range"),
            std::string::npos);

  // A directory that cannot be read keeps the entries so far.
  ConnectDirectory((folder_ / "gone.ldif").string());
  users = {"kept|Kept"};
  GetFolderPaths(users);
  EXPECT_EQ(users, (UserList{"kept|Kept"}));
}

}  // namespace
}  // namespace orbitel::site
