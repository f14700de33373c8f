// The local store through the path the pages use: a connection opens the folder URL and the
// period query runs on it, against real SQLite files filled by import.
#include "data/LocalStore.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "data/Connection.h"
#include "data/Sqlite.h"
#include "data/StoreFixture.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::Calendar;
using testing::Event;

constexpr const char* kDomain = "corp.example.com";

// The pages' period query for a folder and UTC bounds.
std::string PeriodQuery(const std::string& folder, const std::string& from, const std::string& to) {
  return "SELECT \"DAV:href\", \"urn:schemas:httpmail:subject\", "
         "\"urn:schemas:calendar:alldayevent\", \"urn:schemas:calendar:location\", "
         "\"urn:schemas:calendar:dtstart\", \"urn:schemas:calendar:dtend\", "
         "\"urn:schemas:calendar:uid\", \"urn:schemas:calendar:recurrenceid\" "
         "FROM scope('shallow traversal of \"" + folder + "\"') "
         "WHERE (\"urn:schemas:calendar:dtstart\" >=CAST(\"" + from + "\" as 'dateTime')) "
         "AND (\"urn:schemas:calendar:dtend\" <=CAST(\"" + to + "\" as 'dateTime')) "
         "AND (\"http://schemas.microsoft.com/exchange/sensitivity\" <> 2) "
         "AND (\"urn:schemas:calendar:busystatus\" <> 'Free') "
         "ORDER BY \"urn:schemas:calendar:dtstart\"";
}

struct Row {
  std::string subject;
  Date start;
  Date end;
  bool all_day;
  Value recurrence_id;
};

class LocalStoreTest : public testing::StoreFixture {
 protected:
  std::vector<Row> Period(const std::string& folder, const std::string& from, const std::string& to) {
    Connection connection;
    connection.Provider = "ExOLEDB.DataSource";
    Status opened = connection.Open(folder);
    EXPECT_TRUE(opened.ok()) << opened.description();
    Recordset rows;
    Status queried = OpenRecordset(rows, PeriodQuery(folder, from, to), connection);
    EXPECT_TRUE(queried.ok()) << queried.description();
    std::vector<Row> result;
    if (!queried.ok()) return result;
    for (rows.MoveFirst(); !rows.IsEOF(); rows.MoveNext()) {
      Row row;
      row.subject = rows.Field("urn:schemas:httpmail:subject")->Text();
      row.start = *rows.Field("urn:schemas:calendar:dtstart")->AsDate();
      row.end = *rows.Field("urn:schemas:calendar:dtend")->AsDate();
      row.all_day = *rows.Field("urn:schemas:calendar:alldayevent")->AsBoolean();
      row.recurrence_id = *rows.Field("urn:schemas:calendar:recurrenceid");
      result.push_back(row);
    }
    return result;
  }

  static std::vector<std::string> Subjects(const std::vector<Row>& rows) {
    std::vector<std::string> subjects;
    for (const Row& row : rows) subjects.push_back(row.subject);
    return subjects;
  }

  long OpenError(const std::string& url) {
    auto folder = MakeLocalStoreProvider()->OpenFolder(url);
    return folder.ok() ? 0 : folder.status().number();
  }
};

TEST_F(LocalStoreTest, PeriodQueryKeepsOnlyItemsWhollyInsideThePeriod) {
  Import(kDomain, "alice",
         Calendar(Event("inside", "SUMMARY:Inside\nDTSTART:20261110T140000Z\nDTEND:20261110T150000Z\n") +
                  Event("early", "SUMMARY:Starts before\nDTSTART:20261031T230000Z\nDTEND:20261101T010000Z\n") +
                  Event("late", "SUMMARY:Ends after\nDTSTART:20261130T230000Z\nDTEND:20261201T010000Z\n") +
                  Event("edges", "SUMMARY:On both edges\nDTSTART:20261101T000000Z\nDTEND:20261201T000000Z\n") +
                  Event("outside", "SUMMARY:Outside\nDTSTART:20261205T140000Z\nDTEND:20261205T150000Z\n")));
  const auto rows = Period(FolderUrlOf(kDomain, "alice"), "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z");
  EXPECT_EQ(Subjects(rows), (std::vector<std::string>{"On both edges", "Inside"}));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1].start, Utc("2026-11-10T14:00:00Z"));
  EXPECT_TRUE(rows[1].recurrence_id.IsEmpty());
}

TEST_F(LocalStoreTest, PeriodQueryLeavesOutPrivateAndFreeItems) {
  const std::string times = "DTSTART:20261110T140000Z\nDTEND:20261110T150000Z\n";
  Import(kDomain, "alice",
         Calendar(Event("a", "SUMMARY:Private\nCLASS:PRIVATE\n" + times) +
                  Event("b", "SUMMARY:Confidential\nCLASS:CONFIDENTIAL\n" + times) +
                  Event("c", "SUMMARY:Transparent\nTRANSP:TRANSPARENT\n" + times) +
                  Event("d", "SUMMARY:Free by Outlook\nX-MICROSOFT-CDO-BUSYSTATUS:FREE\n" + times) +
                  Event("e", "SUMMARY:Busy over transparent\nTRANSP:TRANSPARENT\n"
                             "X-MICROSOFT-CDO-BUSYSTATUS:BUSY\n" + times) +
                  Event("f", "SUMMARY:Tentative\nSTATUS:TENTATIVE\n" + times)));
  const auto rows = Period(FolderUrlOf(kDomain, "alice"), "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z");
  auto subjects = Subjects(rows);
  std::sort(subjects.begin(), subjects.end());
  EXPECT_EQ(subjects, (std::vector<std::string>{"Busy over transparent", "Confidential", "Tentative"}));
}

TEST_F(LocalStoreTest, AllDayItemSpansTheLocalDay) {
  Import(kDomain, "alice",
         Calendar(Event("day", "SUMMARY:Holiday\nDTSTART;VALUE=DATE:20261126\n") +
                  Event("weekend", "SUMMARY:Weekend\nDTSTART;VALUE=DATE:20261107\n"
                                   "DTEND;VALUE=DATE:20261109\nRRULE:FREQ=WEEKLY;COUNT=2\n")));
  const auto rows = Period(FolderUrlOf(kDomain, "alice"), "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z");
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_TRUE(rows[2].all_day);
  // New York midnights in November are 05:00 UTC; each weekend lasts its two days.
  EXPECT_EQ(rows[1].start, Utc("2026-11-14T05:00:00Z"));
  EXPECT_EQ(rows[1].end, Utc("2026-11-16T05:00:00Z"));
  EXPECT_EQ(rows[2].start, Utc("2026-11-26T05:00:00Z"));
  EXPECT_EQ(rows[2].end, Utc("2026-11-27T05:00:00Z"));
}

TEST_F(LocalStoreTest, WeeklyMeetingKeepsItsLocalTimeAcrossTheDaylightSavingChange) {
  const std::string zoned = "DTSTART;TZID=America/New_York:20261019T090000\n"
                            "DTEND;TZID=America/New_York:20261019T100000\nRRULE:FREQ=WEEKLY;COUNT=4\n";
  const std::string floating = "DTSTART:20261019T090000\nDTEND:20261019T100000\n"
                               "RRULE:FREQ=WEEKLY;UNTIL=20261109T235959Z\n";
  Import(kDomain, "alice", Calendar(Event("zoned", "SUMMARY:Zoned\n" + zoned)));
  Import(kDomain, "bob", Calendar(Event("floating", "SUMMARY:Floating\n" + floating)));
  for (const char* account : {"alice", "bob"}) {
    const auto rows = Period(FolderUrlOf(kDomain, account), "2026-10-01T00:00:00Z", "2026-12-01T00:00:00Z");
    ASSERT_EQ(rows.size(), 4u) << account;
    // 9:00 EDT is 13:00 UTC; after 1 November 9:00 EST is 14:00 UTC.
    EXPECT_EQ(rows[0].start, Utc("2026-10-19T13:00:00Z"));
    EXPECT_EQ(rows[1].start, Utc("2026-10-26T13:00:00Z"));
    EXPECT_EQ(rows[2].start, Utc("2026-11-02T14:00:00Z"));
    EXPECT_EQ(rows[3].start, Utc("2026-11-09T14:00:00Z"));
    EXPECT_EQ(rows[3].end, Utc("2026-11-09T15:00:00Z"));
    ASSERT_NE(rows[2].recurrence_id.AsDate(), nullptr);
    EXPECT_EQ(*rows[2].recurrence_id.AsDate(), Utc("2026-11-02T14:00:00Z"));
  }
  // A period inside the series: only the occurrences inside it.
  const auto middle = Period(FolderUrlOf(kDomain, "alice"), "2026-10-26T00:00:00Z", "2026-11-03T00:00:00Z");
  EXPECT_EQ(middle.size(), 2u);
}

TEST_F(LocalStoreTest, OverriddenAndExcludedOccurrences) {
  Import(kDomain, "alice",
         Calendar(Event("series", "SUMMARY:Standup\nDTSTART:20261102T150000Z\nDTEND:20261102T151500Z\n"
                                  "RRULE:FREQ=DAILY;COUNT=5\nEXDATE:20261104T150000Z\n") +
                  Event("series", "RECURRENCE-ID:20261103T150000Z\nSUMMARY:Standup (late)\n"
                                  "DTSTART:20261103T170000Z\nDTEND:20261103T171500Z\n") +
                  Event("series", "RECURRENCE-ID:20261105T150000Z\nSUMMARY:Standup (moved out)\n"
                                  "DTSTART:20261210T170000Z\nDTEND:20261210T171500Z\n")));
  const auto rows = Period(FolderUrlOf(kDomain, "alice"), "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z");
  EXPECT_EQ(Subjects(rows), (std::vector<std::string>{"Standup", "Standup (late)", "Standup"}));
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[1].start, Utc("2026-11-03T17:00:00Z"));
  EXPECT_EQ(*rows[1].recurrence_id.AsDate(), Utc("2026-11-03T15:00:00Z"));
  EXPECT_EQ(rows[2].start, Utc("2026-11-06T15:00:00Z"));
  // The occurrence moved into December is found in December.
  const auto december = Period(FolderUrlOf(kDomain, "alice"), "2026-12-01T00:00:00Z", "2027-01-01T00:00:00Z");
  EXPECT_EQ(Subjects(december), (std::vector<std::string>{"Standup (moved out)"}));
}

TEST_F(LocalStoreTest, EndlessSeriesIsFoundYearsLater) {
  Import(kDomain, "alice",
         Calendar(Event("monthly", "SUMMARY:Report\nDTSTART:20200115T150000Z\nDTEND:20200115T160000Z\n"
                                   "RRULE:FREQ=MONTHLY\n")));
  const auto rows = Period(FolderUrlOf(kDomain, "alice"), "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z");
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].start, Utc("2026-11-15T15:00:00Z"));
}

TEST_F(LocalStoreTest, OddTimesAreReadSensibly) {
  Import(kDomain, "alice",
         Calendar(Event("backwards", "SUMMARY:Backwards\nDTSTART:20261110T150000Z\nDTEND:20261110T140000Z\n") +
                  Event("no-end", "SUMMARY:No end\nDTSTART:20261111T150000Z\n") +
                  Event("duration", "SUMMARY:Duration\nDTSTART:20261112T150000Z\nDURATION:PT1H30M\n") +
                  Event("floating", "SUMMARY:Floating\nDTSTART:20261113T090000\nDTEND:20261113T100000\n") +
                  Event("days", "SUMMARY:Two days\nDTSTART;VALUE=DATE:20261114\nDURATION:P2D\n")));
  const auto rows = Period(FolderUrlOf(kDomain, "alice"), "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z");
  ASSERT_EQ(rows.size(), 5u);
  EXPECT_EQ(rows[0].end, rows[0].start);  // an end before the start is the start
  EXPECT_EQ(rows[1].end, Utc("2026-11-11T15:00:00Z"));
  EXPECT_EQ(rows[2].end, Utc("2026-11-12T16:30:00Z"));
  EXPECT_EQ(rows[3].start, Utc("2026-11-13T14:00:00Z"));  // floating: the server's local time
  EXPECT_EQ(rows[4].start, Utc("2026-11-14T05:00:00Z"));
  EXPECT_EQ(rows[4].end, Utc("2026-11-16T05:00:00Z"));
}

TEST_F(LocalStoreTest, FoldersThatCannotBeOpened) {
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
  auto folder = MakeLocalStoreProvider()->OpenFolder(FolderUrlOf("broken.example.com", "alice"));
  ASSERT_FALSE(folder.ok());
  EXPECT_EQ(folder.status().number(), errors::kCannotOpenFolder);
  std::ifstream in(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), garbage);
}

TEST_F(LocalStoreTest, QueryOnAnotherFolderFails) {
  const std::string alice = CreateMailbox(kDomain, "alice");
  const std::string bob = CreateMailbox(kDomain, "bob");
  Connection connection;
  connection.Provider = "ExOLEDB.DataSource";
  ASSERT_TRUE(connection.Open(alice).ok());
  Recordset rows;
  Status queried = OpenRecordset(rows, PeriodQuery(bob, "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z"),
                                 connection);
  EXPECT_EQ(queried.number(), errors::kCannotOpenFolder);
}

TEST_F(LocalStoreTest, ItemsAreCreatedReadReplacedAndDeleted) {
  const std::string url = CreateMailbox(kDomain, "alice");
  auto folder = MakeLocalStoreProvider()->OpenFolder(url);
  ASSERT_TRUE(folder.ok());
  StoreFolder& store = *folder.value();
  const std::string ics = Calendar(Event("same-uid", "SUMMARY:First\nDTSTART:20261110T140000Z\n"));
  auto first = store.CreateItem(ics);
  ASSERT_TRUE(first.ok()) << first.status().description();
  EXPECT_EQ(*first, url + "same-uid.ics");
  // The same UID again is stored under a fresh one rather than over the first.
  auto second = store.CreateItem(ics);
  ASSERT_TRUE(second.ok());
  EXPECT_NE(*second, *first);

  auto read = store.ReadItem(*first);
  ASSERT_TRUE(read.ok());
  EXPECT_NE(read->ics.find("SUMMARY:First"), std::string::npos);
  const std::string changed = Calendar(Event("same-uid", "SUMMARY:Changed\nDTSTART:20261110T140000Z\n"));
  ASSERT_TRUE(store.ReplaceItem(*first, changed, read->etag).ok());
  // The old tag no longer matches: someone else's change is not overwritten.
  Status stale = store.ReplaceItem(*first, ics, read->etag);
  EXPECT_EQ(stale.number(), kItemChanged);
  EXPECT_NE(stale.description().find("changed by someone else"), std::string::npos);
  EXPECT_NE(store.ReadItem(*first)->ics.find("SUMMARY:Changed"), std::string::npos);

  ASSERT_TRUE(store.DeleteItem(*first).ok());
  EXPECT_EQ(store.ReadItem(*first).status().number(), errors::kCannotOpenFolder);
  EXPECT_EQ(store.DeleteItem(*first).number(), errors::kCannotOpenFolder);
  EXPECT_EQ(store.ReadItem(url + "../bob/calendar/x.ics").status().number(), errors::kCannotOpenFolder);
}

// An import writes its items in one transaction: an item that cannot go in leaves nothing.
TEST_F(LocalStoreTest, AnImportThatFailsPartwayLeavesNothing) {
  CreateMailbox(kDomain, "alice");
  auto database = LocalStoreDatabase::Open(root_, kDomain);
  ASSERT_TRUE(database.ok());
  const LocalStoreDatabase::FolderId folder = **(*database)->FindFolder("alice");
  {
    sqlite::Transaction transaction((*database)->handle());
    ASSERT_TRUE(transaction.began());
    ASSERT_TRUE((*database)
                    ->Put(folder, "first.ics",
                          Calendar(Event("first", "SUMMARY:First\nDTSTART:20261110T140000Z\n")))
                    .ok());
    EXPECT_FALSE((*database)->Put(folder, "second.ics", Calendar(Event("second", "SUMMARY:No start\n"))).ok());
  }
  EXPECT_TRUE((*database)->All(folder)->empty());
  EXPECT_TRUE(Period(FolderUrlOf(kDomain, "alice"), "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z").empty());

  // A value SQLite refuses to bind stops the statement rather than running it without.
  sqlite::Statement statement((*database)->handle(), "SELECT ?1");
  EXPECT_EQ(statement.Bind(1, "kept").Bind(2, "no such parameter").Step(), SQLITE_RANGE);
  EXPECT_EQ(statement.Reset().Bind(1, "kept").Step(), SQLITE_ROW);
}

TEST_F(LocalStoreTest, DeletingARowOfThePeriodQueryRemovesTheItem) {
  Import(kDomain, "alice",
         Calendar(Event("gone", "SUMMARY:Gone\nDTSTART:20261110T140000Z\nDTEND:20261110T150000Z\n")));
  const std::string url = FolderUrlOf(kDomain, "alice");
  Connection connection;
  connection.Provider = "ExOLEDB.DataSource";
  ASSERT_TRUE(connection.Open(url).ok());
  Recordset rows;
  ASSERT_TRUE(OpenRecordset(rows, PeriodQuery(url, "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z"),
                            connection).ok());
  ASSERT_TRUE(rows.MoveFirst().ok());
  ASSERT_TRUE(rows.Delete().ok());
  ASSERT_TRUE(rows.Update().ok());
  EXPECT_TRUE(Period(url, "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z").empty());
}

}  // namespace
}  // namespace orbitel::data
