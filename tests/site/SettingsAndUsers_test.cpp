// Loading the settings file, the store settings made from it, and the users file: first run,
// filtering, and files written here read back equal.
#include <gtest/gtest.h>

#include <tuple>

#include "data/RowsetFile.h"
#include "site/DomainDirectory.h"
#include "site/SiteSettings.h"
#include "site/UserList.h"
#include "SiteFixture.h"

namespace orbitel::site {
namespace {

using testing::ReadFile;
using testing::WriteFile;

class SettingsTest : public testing::SiteFixture {
 protected:
  // Rewrites fields of the settings file's row through the rowset writer.
  void SetSettings(std::initializer_list<std::pair<const char*, std::string>> values) {
    data::Recordset settings;
    ASSERT_TRUE(data::OpenRowsetFile(File("OrbitelSettings.xml"), settings).ok());
    for (const auto& [name, value] : values) ASSERT_TRUE(settings.SetField(name, value).ok());
    ASSERT_TRUE(settings.Update().ok());
    ASSERT_TRUE(data::SaveRowsetFile(settings, File("OrbitelSettings.xml")).ok());
  }

  void WriteUsersFile(std::initializer_list<const char*> names) {
    data::Recordset users;
    ASSERT_TRUE(data::OpenRowsetFile(File("OrbitelUsers.xml"), users).ok());
    for (const char* name : names) {
      ASSERT_TRUE(users.AddNew().ok());
      ASSERT_TRUE(users.SetField("Users", std::string(name)).ok());
      ASSERT_TRUE(users.Update().ok());
    }
    ASSERT_TRUE(data::SaveRowsetFile(users, File("OrbitelUsers.xml")).ok());
  }

  std::vector<std::string> UsersInFile() {
    data::Recordset users;
    EXPECT_TRUE(data::OpenRowsetFile(File("OrbitelUsers.xml"), users).ok());
    std::vector<std::string> names;
    for (; !users.IsEOF(); users.MoveNext()) names.push_back(users.Field("Users")->Text());
    return names;
  }
};

TEST_F(SettingsTest, ShippedSettingsLoadWithTheLocalStore) {
  std::filesystem::create_directories(folder_ / "store" / "Orbitel.Demo");
  GetSiteVars();
  EXPECT_TRUE(Site().SettingsLoaded);
  EXPECT_EQ(Site().ShowLocation, "Yes");
  EXPECT_EQ(Site().UserUserName, "team");
  EXPECT_TRUE(Site().ExchangeViaBackoffice);
  EXPECT_EQ(Site().ExchangeServerName, "orbitel.demo");  // the store folder, lower-cased
  EXPECT_EQ(Site().StoreUrlBase, "file://./backofficestorage/orbitel.demo/MBX/");
  EXPECT_EQ(Site().StoreProvider, "ExOLEDB.DataSource");
  EXPECT_EQ(Site().DomainDnsName, "ORBITEL.DEMO");
  EXPECT_EQ(ErrorLog(), "");
}

TEST_F(SettingsTest, EmptyStoreRootFallsBackToTheDirectoryDomain) {
  GetSiteVars();
  EXPECT_EQ(Site().StoreUrlBase, "file://./backofficestorage/ORBITEL.DEMO/MBX/");
}

TEST_F(SettingsTest, HttpAccessNamesThisComputerForLoopbackNames) {
  struct Case {
    const char* server;
    std::string url;
  } cases[] = {
      {"LocalHost", "http://" + ComputerName() + "/exchange/"},
      {"127.0.0.1", "http://" + ComputerName() + "/exchange/"},
      {"", "http://" + ComputerName() + "/exchange/"},
      {"127.0.0.01", "http://127.0.0.01/exchange/"},
      {"mail.corp.example", "http://mail.corp.example/exchange/"},
  };
  for (const Case& c : cases) {
    SetSettings({{"ExchangeViaBackoffice", "False"}, {"ExchangeServerName", c.server}});
    GetSiteVars();
    EXPECT_EQ(Site().StoreUrlBase, c.url) << c.server;
    EXPECT_EQ(Site().StoreProvider, "MSDAIPP.DSO");
  }
}

TEST_F(SettingsTest, SettingsWrittenHereReadBackEqual) {
  const std::string tricky = "O'Brien & <Sons> \"quoted\"";
  SetSettings({{"ShowLocation", "No"}, {"LocationEntry", tricky}, {"LocationNoEntry", "none"},
               {"UserUserName", "staff"}, {"UserPassword", "p@ss word"},
               {"AdminUserName", "root"}, {"AdminPassword", "line1\nline2"},
               {"ExchangeServerName", "mail.example.com"}, {"ExchangeViaBackoffice", "false"}});
  GetSiteVars();
  EXPECT_EQ(Site().ShowLocation, "No");
  EXPECT_EQ(Site().LocationEntry, tricky);
  EXPECT_EQ(Site().LocationNoEntry, "none");
  EXPECT_EQ(Site().UserUserName, "staff");
  EXPECT_EQ(Site().UserPassword, "p@ss word");
  EXPECT_EQ(Site().AdminUserName, "root");
  EXPECT_EQ(Site().AdminPassword, "line1\nline2");
  EXPECT_EQ(Site().ExchangeServerName, "mail.example.com");
  EXPECT_FALSE(Site().ExchangeViaBackoffice);
}

TEST_F(SettingsTest, TheMirrorsIntervalAndWindowHaveDefaultsAndBounds) {
  GetSiteVars();  // a settings file from before the mirror
  EXPECT_EQ(Site().MirrorInterval, 60);
  EXPECT_EQ(Site().MirrorDaysBack, 365);
  EXPECT_EQ(Site().MirrorDaysAhead, 730);
  const std::string shipped = ReadFile(File("OrbitelSettings.xml"));
  const std::string row = "ExchangeViaBackoffice='True'";
  ASSERT_NE(shipped.find(row), std::string::npos);
  for (const auto& [attributes, interval, back, ahead] :
       {std::tuple{" MirrorInterval='30' MirrorDaysBack='0' MirrorDaysAhead='90'", 30, 0, 90},
        std::tuple{" MirrorInterval='9' MirrorDaysBack='3661' MirrorDaysAhead='0'", 60, 365, 730},
        std::tuple{" MirrorInterval=' 45 ' MirrorDaysBack='-1' MirrorDaysAhead='1e3'", 45, 365, 730}}) {
    // Each setting is a field of the file's schema and an attribute of its row.
    std::string settings = shipped;
    settings.replace(settings.find(row), row.size(), row + attributes);
    for (const char* name : {"MirrorInterval", "MirrorDaysBack", "MirrorDaysAhead"}) {
      settings.insert(settings.find("<s:extends"), std::string("<s:AttributeType name='") + name + "'/>\n");
    }
    WriteFile(File("OrbitelSettings.xml"), settings);
    GetSiteVars();
    EXPECT_EQ(Site().MirrorInterval, interval) << attributes;
    EXPECT_EQ(Site().MirrorDaysBack, back) << attributes;
    EXPECT_EQ(Site().MirrorDaysAhead, ahead) << attributes;
  }
}

TEST_F(SettingsTest, BadSettingsAreLoggedAndKeepWhatCameBefore) {
  GetSiteVars();
  ASSERT_TRUE(Site().SettingsLoaded);

  SetSettings({{"UserUserName", "changed"}, {"ExchangeViaBackoffice", "Maybe"}});
  GetSiteVars();
  EXPECT_FALSE(Site().SettingsLoaded);
  EXPECT_EQ(Site().UserUserName, "changed");  // read before the failing field
  EXPECT_NE(ErrorLog().find("Routine : AdminStuff.GetSiteVars, 13   Type mismatch"),
            std::string::npos);

  for (const char* broken : {"", "<xml><rs:data>", "not xml at all"}) {
    WriteFile(File("OrbitelSettings.xml"), broken);
    GetSiteVars();
    EXPECT_FALSE(Site().SettingsLoaded) << broken;
    EXPECT_EQ(Site().UserUserName, "changed");
  }
  std::filesystem::remove(File("OrbitelSettings.xml"));
  GetSiteVars();
  EXPECT_FALSE(Site().SettingsLoaded);
}

TEST_F(SettingsTest, NoDirectoryMeansNoDomain) {
  ConnectDirectory("");
  GetSiteVars();
  EXPECT_FALSE(Site().SettingsLoaded);
  EXPECT_EQ(Site().StoreProvider, "ExOLEDB.DataSource");  // store settings came before
}

TEST_F(SettingsTest, SplitUserEntry) {
  EXPECT_EQ(SplitUserEntry(" alice |Alice Walker ", false), "alice");
  EXPECT_EQ(SplitUserEntry(" alice |Alice Walker ", true), "Alice Walker");
  EXPECT_EQ(SplitUserEntry("|Nobody", true), "");
  EXPECT_EQ(SplitUserEntry("bob", true), "");
  EXPECT_EQ(SplitUserEntry("a|b|c", true), "b");
}

TEST_F(SettingsTest, FirstRunFillsTheUsersFileOnce) {
  GetSiteVars();
  UserList users;
  GetFolderPaths(users);
  ASSERT_FALSE(users.empty());
  std::vector<std::string> names;
  for (const auto& entry : users) names.push_back(SplitUserEntry(entry, false));
  EXPECT_EQ(UsersInFile(), names);

  // "FirstTime" is now "No": a second listing leaves the administrator's (emptied) list alone.
  data::Recordset file;
  ASSERT_TRUE(data::OpenRowsetFile(File("OrbitelUsers.xml"), file).ok());
  while (!file.IsEOF()) {
    file.Delete();
    file.Update();
    file.MoveNext();
  }
  ASSERT_TRUE(data::SaveRowsetFile(file, File("OrbitelUsers.xml")).ok());
  UserList again;
  GetFolderPaths(again);
  EXPECT_TRUE(UsersInFile().empty());
}

TEST_F(SettingsTest, FirstTimeMarkerComparesUpperCased) {
  GetSiteVars();
  for (const char* marker : {"no", "nO"}) {
    SetSettings({{"FirstTime", marker}});
    InitialiseUsers({"alice|Alice"});
    EXPECT_TRUE(UsersInFile().empty()) << marker;
  }
  SetSettings({{"FirstTime", "No "}});
  InitialiseUsers({"alice|Alice", "bob|Bob"});
  EXPECT_EQ(UsersInFile(), (std::vector<std::string>{"alice", "bob"}));
}

TEST_F(SettingsTest, CleanUpKeepsListedUsersInOrder) {
  GetSiteVars();
  WriteUsersFile({"dave", "alice", "CAROL"});
  UserList users = {"alice|Alice", "bob|Bob", "carol|Carol", "dave|Dave", "erin|Erin"};
  CleanUpUsers(users);
  // The file's comparison ignores case, as the rowset's does.
  EXPECT_EQ(users, (UserList{"alice|Alice", "carol|Carol", "dave|Dave"}));
}

TEST_F(SettingsTest, CleanUpNeverEmptiesTheList) {
  GetSiteVars();
  UserList users = {"x|X", "y|Y", "z|Z"};
  CleanUpUsers(users);
  EXPECT_EQ(users, (UserList{"z|Z"}));
  EXPECT_NE(ErrorLog().find("Routine : AdminStuff.CleanUpUsers, 9"), std::string::npos);
}

TEST_F(SettingsTest, CleanUpStopsAtAnApostrophe) {
  GetSiteVars();
  WriteUsersFile({"alice", "dave"});
  UserList users = {"alice|Alice", "bob|Bob", "o'neill|Sean", "dave|Dave"};
  CleanUpUsers(users);
  EXPECT_EQ(users, (UserList{"alice|Alice", "o'neill|Sean", "dave|Dave"}));
  EXPECT_NE(ErrorLog().find("Routine : AdminStuff.CleanUpUsers, 3001"), std::string::npos);
}

TEST_F(SettingsTest, CleanUpBeforeTheSettingsLoadedChangesNothing) {
  UserList users = {"x|X", "y|Y"};
  CleanUpUsers(users);
  EXPECT_EQ(users, (UserList{"x|X", "y|Y"}));
}

}  // namespace
}  // namespace orbitel::site
