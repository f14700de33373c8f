// The domain's name and the listing of its people, over real directory files.
#include <gtest/gtest.h>

#include "site/DomainDirectory.h"
#include "site/ErrorHtml.h"
#include "site/SiteSettings.h"
#include "SiteFixture.h"

namespace orbitel::site {
namespace {

using testing::WriteFile;

std::string Person(const std::string& name, int account_control = 512) {
  return "dn: CN=" + name + ",OU=People,DC=corp,DC=example\n"
         "objectClass: top\nobjectClass: person\nobjectClass: organizationalPerson\n"
         "objectClass: user\nsAMAccountName: " + name + "\ndisplayName: Full " + name +
         "\nuserAccountControl: " + std::to_string(account_control) + "\n\n";
}

class DomainDirectoryTest : public testing::SiteFixture {
 protected:
  void UseDirectory(const std::string& top, const std::string& people) {
    const auto path = folder_ / "directory.ldif";
    WriteFile(path, "version: 1\n\ndn: " + top + "\nobjectClass: domain\n\n" + people);
    ConnectDirectory(path.string());
  }
};

TEST(ExclusionRules, MixExactPrefixesWithCaseBlindNames) {
  struct Case {
    const char* name;
    bool listed;
  } cases[] = {
      {"alice", true},           {"IUSR_WEB", false},         {"iusr_web", true},
      {"IWAM_WEB", false},       {"VUSR_X", false},           {"EUSER_1", false},
      {"EUSER", true},           {"IUSR", true},              {"TsInternetUser", false},
      {"tsinternetuser", true},  {"NetShowServices", false},  {"SQLServerAgent", false},
      {"sqlserveragent", true},  {"Room2Booking", false},     {"MeetingRoom2", false},
      {"TempRoom7", false},      {"Room3", true},             {"ConferenceCalendar1", false},
      {"myExternal", false},     {"HallvardTrent", false},    {"Orbitel", false},
      {"ORBITEL", false},        {"orbitel2", true},          {"QuillonOrbitel", false},
      {"", true},
  };
  for (const Case& c : cases) EXPECT_EQ(IsListedAccount(c.name, false), c.listed) << c.name;
  EXPECT_FALSE(IsListedAccount("alice", true));
}

TEST_F(DomainDirectoryTest, DomainNameDropsExactDcPrefixesOnly) {
  UseDirectory("DC=corp,DC=example,DC=com", "");
  EXPECT_EQ(GetDomainName(), "corp.example.com");
  UseDirectory("dc=corp,dc=example", "");
  EXPECT_EQ(GetDomainName(), "dc=corp.dc=example");
}

TEST_F(DomainDirectoryTest, ListsEnabledPeopleInDirectoryOrder) {
  UseDirectory("DC=corp,DC=example",
               Person("zoe") + Person("IUSR_WEB") + Person("mike", 514) + Person("Room2Booking") +
                   Person("adam") + Person("orbitel"));
  GetSiteVars();
  UserList users;
  GetFolderPaths(users);
  EXPECT_EQ(users, (UserList{"zoe|Full zoe", "adam|Full adam"}));
}

TEST_F(DomainDirectoryTest, NoDomainSetsTheMessageAndLogs) {
  ConnectDirectory("");
  GetSiteVars();
  Site().ErrorText = "earlier";
  UserList users;
  GetFolderPaths(users);
  EXPECT_TRUE(users.empty());
  EXPECT_EQ(Site().ErrorText, NoDomainError());
  EXPECT_EQ(Site().ErrorText,
            "<font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"2\"><b>ERROR:</b> No "
            "domain was found on this computer. Please make sure that this computer is on a "
            "domain and try again.</font><br>");
  EXPECT_NE(ErrorLog().find("Routine : AdminStuff.GetFolderPaths, 9   Subscript out of range"),
            std::string::npos);
}

TEST_F(DomainDirectoryTest, UnreadableDirectoryIsLoggedWithTheEntriesSoFar) {
  GetSiteVars();
  ConnectDirectory((folder_ / "gone.ldif").string());
  UserList users = {"kept|Kept"};
  GetFolderPaths(users);
  EXPECT_EQ(users, (UserList{"kept|Kept"}));
  EXPECT_NE(ErrorLog().find("Routine : AdminStuff.GetFolderPaths"), std::string::npos);
}

TEST_F(DomainDirectoryTest, MailDomainIsTheStoreRootsLastFolderLowerCased) {
  EXPECT_EQ(GetDomainNameFromMDrive(), "");
  std::filesystem::create_directories(folder_ / "store" / "Corp.Example");
  EXPECT_EQ(GetDomainNameFromMDrive(), "corp.example");
  SetServices({});
  EXPECT_EQ(GetDomainNameFromMDrive(), "");
  EXPECT_NE(ErrorLog().find("Routine : AdminStuff.GetDomainNameFromMDrive"), std::string::npos);
}

}  // namespace
}  // namespace orbitel::site
