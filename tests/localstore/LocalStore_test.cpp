// What only the local store has to get right, on real SQLite files: which folder URLs open, a
// database that is no database left alone, and an import that goes in whole or not at all. The
// queries and writes both stores serve are in CalendarStores_test.
#include "localstore/LocalStore.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>

#include "FailingStore.h"
#include "ServerProcess.h"
#include "StoreFixture.h"
#include "ical/CalendarImport.h"
#include "localstore/Sqlite.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::Calendar;
using testing::Event;

constexpr const char* kDomain = "corp.example.com";

using LocalStoreTest = testing::StoreFixture;

TEST_F(LocalStoreTest, FoldersThatCannotBeOpened) {
  const auto OpenError = [this](const std::string& url) {
    auto folder = MakeLocalStoreProvider(root_)->OpenFolder(url);
    return folder.ok() ? 0 : folder.status().number();
  };
  CreateMailbox(kDomain, "alice");
  EXPECT_EQ(OpenError(FolderUrlOf(kDomain, "alice")), 0);
  EXPECT_EQ(OpenError(FolderUrlOf("CORP.Example.com", "ALICE")), 0);  // case is not significant
  EXPECT_EQ(OpenError("file://./backofficestorage/corp.example.com/MBX/alice/calendar"), 0);
  EXPECT_EQ(OpenError(FolderUrlOf(kDomain, "nobody")), errors::kCannotOpenFolder);
  EXPECT_EQ(OpenError(FolderUrlOf("other.example.com", "alice")), errors::kCannotOpenFolder);
  EXPECT_EQ(OpenError("file://./backofficestorage/corp.example.com/MBX/alice/inbox/"),
            errors::kCannotOpenFolder);
  EXPECT_EQ(OpenError("file://./backofficestorage/../MBX/alice/calendar/"), errors::kCannotOpenFolder);
  EXPECT_FALSE(std::filesystem::exists(root_ + "/other.example.com"));  // nothing was created
}

TEST_F(LocalStoreTest, CorruptDatabaseIsRefusedAndLeftAsItWas) {
  std::filesystem::create_directories(root_ + "/broken.example.com");
  const std::string path = root_ + "/broken.example.com/store.sqlite";
  std::string garbage = "This is not a database. ";
  for (int i = 0; i < 200; ++i) garbage += "garbage " + std::to_string(i);
  std::ofstream(path, std::ios::binary) << garbage;
  auto folder = MakeLocalStoreProvider(root_)->OpenFolder(FolderUrlOf("broken.example.com", "alice"));
  ASSERT_FALSE(folder.ok());
  EXPECT_EQ(folder.status().number(), errors::kCannotOpenFolder);
  EXPECT_EQ(orbitel::testing::ReadWholeFile(path), garbage);
}

// An import writes its items in one transaction: a store that fails part-way leaves the
// mailbox as it was, the items it held before unchanged.
TEST_F(LocalStoreTest, AnImportThatFailsPartwayLeavesNothing) {
  Import(kDomain, "alice", Calendar(Event("kept", "SUMMARY:Before\nDTSTART:20261110T140000Z\n")));
  const std::string url = FolderUrlOf(kDomain, "alice");
  auto items = ParseCalendar(Calendar(Event("kept", "SUMMARY:After\nDTSTART:20261111T140000Z\n") +
                                      Event("new", "SUMMARY:New\nDTSTART:20261112T140000Z\n") +
                                      Event("third", "SUMMARY:Third\nDTSTART:20261113T140000Z\n")));
  ASSERT_TRUE(items.ok());
  const StoreProviders failing({std::make_shared<testing::FailingProvider>(MakeLocalStoreProvider(root_), 3)});
  auto folder = (*failing.ForUrl(url))->OpenFolder(url);
  ASSERT_TRUE(folder.ok());
  const Status imported = ImportItems(**folder, *items);
  EXPECT_EQ(imported.description(), "item third: the disk is full");
  auto database = LocalStoreDatabase::Open(root_, kDomain);
  ASSERT_TRUE(database.ok());
  const auto stored = (*database)->All(**(*database)->FindFolder("alice"));
  ASSERT_EQ(stored->size(), 1u);
  EXPECT_NE(stored->front().ics.find("SUMMARY:Before"), std::string::npos);
  // Once the store takes every item, all of them are in.
  ASSERT_TRUE(ImportItems(**providers_.ForUrl(url).value()->OpenFolder(url), *items).ok());
  EXPECT_EQ((*database)->All(**(*database)->FindFolder("alice"))->size(), 3u);

  // A value SQLite refuses to bind stops the statement rather than running it without.
  sqlite::Statement statement = (*database)->Prepare("SELECT ?1");
  EXPECT_EQ(statement.Bind(1, "kept").Bind(2, "no such parameter").Step(), SQLITE_RANGE);
  EXPECT_EQ(statement.Reset().Bind(1, "kept").Step(), SQLITE_ROW);
}

}  // namespace
}  // namespace orbitel::data
