// Loading the settings file and the store settings made from it; the users file's first run and clean-up.
#include <gtest/gtest.h>

#include <tuple>

#include "SiteFixture.h"
#include "recordset/RowsetFile.h"
#include "site/DomainDirectory.h"
#include "site/SiteSettings.h"
#include "site/UserList.h"

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
};

TEST_F(SettingsTest, TheLocalStoreIsNamedByItsFolderOrElseByTheDirectorysDomain) {
  // The CalDAV mirror's hidden folder is the store's own, no mail domain.
  std::filesystem::create_directories(folder_ / "store" / ".caldav-mirror");
  GetSiteVars();
  EXPECT_EQ(Site().StoreUrlBase, "file://./backofficestorage/ORBITEL.DEMO/MBX/");
  std::filesystem::create_directories(folder_ / "store" / "Orbitel.Demo");
  GetSiteVars();
  EXPECT_TRUE(Site().SettingsLoaded);
  EXPECT_EQ(Site().StoreUrlBase, "file://./backofficestorage/orbitel.demo/MBX/");  // lower-cased
  EXPECT_EQ(ErrorLog(), "");
  // Without a directory there is no domain: the store settings are made, the rest is not loaded.
  ConnectDirectory("");
  GetSiteVars();
  EXPECT_FALSE(Site().SettingsLoaded);
  EXPECT_EQ(Site().StoreProvider, "ExOLEDB.DataSource");
}

TEST_F(SettingsTest, HttpAccessNamesThisComputerForLoopbackNames) {
  for (const auto& [server, host] : {std::pair{"LocalHost", ComputerName()}, {"127.0.0.1", ComputerName()},
                                     {"", ComputerName()}, {"127.0.0.01", std::string("127.0.0.01")},
                                     {"mail.corp.example", std::string("mail.corp.example")}}) {
    SetSettings({{"ExchangeViaBackoffice", "False"}, {"ExchangeServerName", server}});
    GetSiteVars();
    EXPECT_EQ(Site().StoreUrlBase, "http://" + host + "/exchange/") << server;
    EXPECT_EQ(Site().StoreProvider, "MSDAIPP.DSO");
  }
}

TEST_F(SettingsTest, TheMirrorsIntervalAndWindowHaveDefaultsAndBounds) {
  const auto mirror = [] { return std::tuple(Site().MirrorInterval, Site().MirrorDaysBack, Site().MirrorDaysAhead); };
  GetSiteVars();  // a settings file from before the mirror
  EXPECT_EQ(mirror(), std::tuple(60, 365, 730));
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
    EXPECT_EQ(mirror(), std::tuple(interval, back, ahead)) << attributes;
  }
}

TEST_F(SettingsTest, BadSettingsAreLoggedAndKeepWhatCameBefore) {
  GetSiteVars();
  ASSERT_TRUE(Site().SettingsLoaded);

  SetSettings({{"UserUserName", "changed"}, {"ExchangeViaBackoffice", "Maybe"}});
  GetSiteVars();
  EXPECT_FALSE(Site().SettingsLoaded);
  EXPECT_EQ(Site().UserUserName, "changed");  // read before the failing field
  EXPECT_NE(ErrorLog().find("Routine : AdminStuff.GetSiteVars, 13   Type mismatch"), std::string::npos);

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

TEST_F(SettingsTest, FirstListingFillsTheUsersFileOnce) {
  GetSiteVars();
  UserList users;
  GetFolderPaths(users);
  ASSERT_FALSE(users.empty());
  std::vector<std::string> names;
  for (const auto& entry : users) names.push_back(SplitUserEntry(entry, false));
  EXPECT_EQ(UsersInFile(), names);
  // The listing set "FirstTime" to "No", which compares upper-cased: later ones leave the file alone.
  for (const char* marker : {"", "nO"}) {
    if (*marker) SetSettings({{"FirstTime", marker}});
    InitialiseUsers({"zed|Zed"});
    EXPECT_EQ(UsersInFile(), names) << marker;
  }
  SetSettings({{"FirstTime", "No "}});
  InitialiseUsers({"alice|Alice", "bob|Bob"});
  EXPECT_EQ(UsersInFile(), (std::vector<std::string>{"alice", "bob"}));
}

// The clean-up keeps the listed people in order (the file's comparison ignores case, as the
// rowset's does), never empties the list, stops at an apostrophe keeping the rest, and changes
// nothing before the settings are loaded.
TEST_F(SettingsTest, CleanUpKeepsListedUsersInOrder) {
  const struct {
    bool loaded;
    std::initializer_list<const char*> file;
    UserList users, kept;
    const char* logged;
  } cases[] = {
      {true, {"dave", "alice", "CAROL"}, {"alice|Alice", "bob|Bob", "Carol|Carol", "dave|Dave", "erin|Erin"},
       {"alice|Alice", "Carol|Carol", "dave|Dave"}, ""},
      {true, {}, {"x|X", "y|Y", "z|Z"}, {"z|Z"}, "Routine : AdminStuff.CleanUpUsers, 9"},
      {true, {"alice", "dave"}, {"alice|Alice", "bob|Bob", "o'neill|Sean", "dave|Dave"},
       {"alice|Alice", "o'neill|Sean", "dave|Dave"}, "Routine : AdminStuff.CleanUpUsers, 3001"},
      {false, {}, {"x|X", "y|Y"}, {"x|X", "y|Y"}, ""},
  };
  for (const auto& c : cases) {
    Site() = SiteState();
    Site().SitePath = folder_.string() + "/";
    Site().PageContext = context_;
    if (c.loaded) GetSiteVars();
    WriteUsersFile(c.file);
    UserList users = c.users;
    CleanUpUsers(users);
    EXPECT_EQ(users, c.kept) << c.users.size();
    EXPECT_NE(ErrorLog().find(c.logged), std::string::npos) << c.logged;
  }
}

}  // namespace
}  // namespace orbitel::site
