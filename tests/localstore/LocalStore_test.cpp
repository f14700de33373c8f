// What only the local store has to get right, on real SQLite files: which folder URLs open, a
// database that is no database left alone, an import that goes in whole or not at all, and a
// team's run of reads across domains and writes. The queries and writes both stores serve are
// in CalendarStores_test.
#include "localstore/LocalStore.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>

#include "FailingStore.h"
#include "ServerProcess.h"
#include "StoreFixture.h"
#include "StoreQueries.h"
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

// What a run of period reads shows of each folder, in order: its subjects, or the error number.
std::vector<std::string> RunOfReads(const std::string& root, const std::vector<std::string>& folders) {
  std::vector<FolderQuery> queries;
  for (const std::string& folder : folders) {
    queries.push_back({folder, testing::PeriodQuery(folder, "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z")});
  }
  std::vector<std::string> shown;
  MakeLocalStoreProvider(root)->ReadFolders(queries, {}, [&](std::size_t, FolderAnswer& answer) {
    const Status& failed = answer.opened.ok() ? answer.queried : answer.opened;
    if (!failed.ok()) return shown.push_back(std::to_string(failed.number()));
    std::string subjects;
    for (const auto& row : answer.rows.rows()) subjects += row[1].Text() + ";";
    shown.push_back(subjects);
  });
  return shown;
}

// A run of reads takes each folder from its own domain's database, a domain without one (or an
// account whose apostrophe breaks its query's text) failing alone, and sees every write made
// since the last run: a series changed, a mailbox gone, but not a write that was rolled back.
TEST_F(LocalStoreTest, ARunOfReadsCrossesDomainsAndSeesEveryWrite) {
  const auto series = [](const std::string& subject) {
    return Calendar(Event("series", "SUMMARY:" + subject + "\nDTSTART:20261102T150000Z\nDTEND:20261102T160000Z\n"
                                    "RRULE:FREQ=WEEKLY;COUNT=2\n"));
  };
  Import(kDomain, "alice", series("Planning"));
  Import("other.example.com", "bob", Calendar(Event("b", "SUMMARY:Bob\nDTSTART:20261103T150000Z\n")));
  Import(kDomain, "ann", Calendar(Event("a", "SUMMARY:Ann\nDTSTART:20261104T150000Z\n")));
  Import(kDomain, "o'neil", Calendar(Event("o", "SUMMARY:Unread\nDTSTART:20261104T150000Z\n")));
  const std::vector<std::string> folders = {
      FolderUrlOf(kDomain, "alice"), FolderUrlOf("other.example.com", "bob"), FolderUrlOf(kDomain, "ann"),
      FolderUrlOf(kDomain, "o'neil"), FolderUrlOf("none.example.com", "carl"), FolderUrlOf(kDomain, "alice")};
  const std::string missing = std::to_string(errors::kCannotOpenFolder);
  const std::string broken = std::to_string(errors::kSyntaxError);
  EXPECT_EQ(RunOfReads(root_, folders), (std::vector<std::string>{"Planning;Planning;", "Bob;", "Ann;", broken, missing,
                                                           "Planning;Planning;"}));

  auto database = LocalStoreDatabase::Open(root_, kDomain);
  ASSERT_TRUE(database.ok());
  const LocalStoreDatabase::FolderId alice = **(*database)->FindFolder("alice");
  {
    // Read inside a write of the store's that is then rolled back: never shown again.
    auto writes = (*database)->BeginWrites();
    ASSERT_TRUE(writes.ok());
    ASSERT_TRUE((*database)->Put(alice, "series.ics", series("Rolled back")).ok());
    EXPECT_EQ(RunOfReads(root_, folders).front(), "Rolled back;Rolled back;");
  }
  ASSERT_TRUE((*database)->Put(alice, "series.ics", series("Review")).ok());
  ASSERT_TRUE((*database)->Execute("DELETE FROM mailboxes WHERE account = 'ann'"));
  EXPECT_EQ(RunOfReads(root_, folders),
            (std::vector<std::string>{"Review;Review;", "Bob;", missing, broken, missing, "Review;Review;"}));
}

}  // namespace
}  // namespace orbitel::data
