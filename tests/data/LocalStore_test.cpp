// The local store through the path the pages use: a connection opens the folder URL and the
// period query runs on it, against real SQLite files filled by import.
#include "data/LocalStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "data/Connection.h"
#include "data/IsoDate.h"
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

class LocalStoreTest : public testing::StoreFixture {
 protected:
  // The period query's rows as "<start> <end> <subject>" (UTC), sorted; an occurrence of a series
  // adds " #", and " #<its start in the series>" when it was moved.
  std::vector<std::string> Period(const std::string& account, const std::string& from = "2026-11-01",
                                  const std::string& to = "2026-12-01") {
    const std::string folder = FolderUrlOf(kDomain, account);
    Connection connection;
    connection.Provider = "ExOLEDB.DataSource";
    EXPECT_TRUE(connection.Open(folder).ok());
    Recordset rows;
    const Status queried =
        OpenRecordset(rows, PeriodQuery(folder, from + "T00:00:00Z", to + "T00:00:00Z"), connection);
    EXPECT_TRUE(queried.ok()) << queried.description();
    std::vector<std::string> result;
    for (Status at = rows.MoveFirst(); at.ok() && !rows.IsEOF(); at = rows.MoveNext()) {
      const Date start = *rows.Field("urn:schemas:calendar:dtstart")->AsDate();
      const Value series = *rows.Field("urn:schemas:calendar:recurrenceid");
      std::string row = FormatIsoDate(start) + " " +
                        FormatIsoDate(*rows.Field("urn:schemas:calendar:dtend")->AsDate()) + " " +
                        rows.Field("urn:schemas:httpmail:subject")->Text();
      if (series.AsDate()) row += " #" + (*series.AsDate() == start ? "" : FormatIsoDate(*series.AsDate()));
      result.push_back(row);
    }
    std::sort(result.begin(), result.end());
    return result;
  }

  long OpenError(const std::string& url) {
    auto folder = MakeLocalStoreProvider()->OpenFolder(url);
    return folder.ok() ? 0 : folder.status().number();
  }
};

// November 2026 in New York, as the period query reads it from each kind of calendar item.
TEST_F(LocalStoreTest, PeriodQueryReadsEachKindOfItem) {
  const std::string times = "DTSTART:20261110T140000Z\nDTEND:20261110T150000Z\n";
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {Event("inside", "SUMMARY:Inside\n" + times) +
           Event("early", "SUMMARY:Starts before\nDTSTART:20261031T230000Z\nDTEND:20261101T010000Z\n") +
           Event("late", "SUMMARY:Ends after\nDTSTART:20261130T230000Z\nDTEND:20261201T010000Z\n") +
           Event("edges", "SUMMARY:On both edges\nDTSTART:20261101T000000Z\nDTEND:20261201T000000Z\n"),
       {"2026-11-01T00:00:00 2026-12-01T00:00:00 On both edges",
        "2026-11-10T14:00:00 2026-11-10T15:00:00 Inside"}},
      // Private and free items are left out.
      {Event("a", "SUMMARY:Private\nCLASS:PRIVATE\n" + times) +
           Event("b", "SUMMARY:Confidential\nCLASS:CONFIDENTIAL\n" + times) +
           Event("c", "SUMMARY:Transparent\nTRANSP:TRANSPARENT\n" + times) +
           Event("d", "SUMMARY:Free by Outlook\nX-MICROSOFT-CDO-BUSYSTATUS:FREE\n" + times) +
           Event("e", "SUMMARY:Busy\nTRANSP:TRANSPARENT\nX-MICROSOFT-CDO-BUSYSTATUS:BUSY\n" + times) +
           Event("f", "SUMMARY:Tentative\nSTATUS:TENTATIVE\n" + times),
       {"2026-11-10T14:00:00 2026-11-10T15:00:00 Busy",
        "2026-11-10T14:00:00 2026-11-10T15:00:00 Confidential",
        "2026-11-10T14:00:00 2026-11-10T15:00:00 Tentative"}},
      // All-day items span local days (New York midnights in November are 05:00 UTC).
      {Event("day", "SUMMARY:Holiday\nDTSTART;VALUE=DATE:20261126\n") +
           Event("weekend", "SUMMARY:Weekend\nDTSTART;VALUE=DATE:20261107\nDTEND;VALUE=DATE:20261109\n"
                            "RRULE:FREQ=WEEKLY;COUNT=2\n") +
           Event("days", "SUMMARY:Two days\nDTSTART;VALUE=DATE:20261118\nDURATION:P2D\n"),
       {"2026-11-07T05:00:00 2026-11-09T05:00:00 Weekend #",
        "2026-11-14T05:00:00 2026-11-16T05:00:00 Weekend #",
        "2026-11-18T05:00:00 2026-11-20T05:00:00 Two days",
        "2026-11-26T05:00:00 2026-11-27T05:00:00 Holiday"}},
      // An end before the start is the start; floating times are the server's local time.
      {Event("backwards", "SUMMARY:Backwards\nDTSTART:20261110T150000Z\nDTEND:20261110T140000Z\n") +
           Event("no-end", "SUMMARY:No end\nDTSTART:20261111T150000Z\n") +
           Event("duration", "SUMMARY:Duration\nDTSTART:20261112T150000Z\nDURATION:PT1H30M\n") +
           Event("floating", "SUMMARY:Floating\nDTSTART:20261113T090000\nDTEND:20261113T100000\n") +
           Event("monthly", "SUMMARY:Endless\nDTSTART:20200115T150000Z\nDTEND:20200115T160000Z\n"
                            "RRULE:FREQ=MONTHLY\n"),
       {"2026-11-10T15:00:00 2026-11-10T15:00:00 Backwards",
        "2026-11-11T15:00:00 2026-11-11T15:00:00 No end",
        "2026-11-12T15:00:00 2026-11-12T16:30:00 Duration",
        "2026-11-13T14:00:00 2026-11-13T15:00:00 Floating",
        "2026-11-15T15:00:00 2026-11-15T16:00:00 Endless #"}},
      // A series with an excluded occurrence, one moved within the day and one moved out.
      {Event("series", "SUMMARY:Standup\nDTSTART:20261102T150000Z\nDTEND:20261102T151500Z\n"
                       "RRULE:FREQ=DAILY;COUNT=5\nEXDATE:20261104T150000Z\n") +
           Event("series", "RECURRENCE-ID:20261103T150000Z\nSUMMARY:Late\n"
                           "DTSTART:20261103T170000Z\nDTEND:20261103T171500Z\n") +
           Event("series", "RECURRENCE-ID:20261105T150000Z\nSUMMARY:Moved out\n"
                           "DTSTART:20261210T170000Z\nDTEND:20261210T171500Z\n"),
       {"2026-11-02T15:00:00 2026-11-02T15:15:00 Standup #",
        "2026-11-03T17:00:00 2026-11-03T17:15:00 Late #2026-11-03T15:00:00",
        "2026-11-06T15:00:00 2026-11-06T15:15:00 Standup #"}},
  };
  int account = 0;
  for (const auto& [events, rows] : cases) {
    const std::string name = "case" + std::to_string(account++);
    Import(kDomain, name, Calendar(events));
    EXPECT_EQ(Period(name), rows) << events;
  }
  EXPECT_EQ(Period("case4", "2026-12-01", "2027-01-01"),
            std::vector<std::string>{"2026-12-10T17:00:00 2026-12-10T17:15:00 Moved out #2026-11-05T15:00:00"});
}

TEST_F(LocalStoreTest, WeeklyMeetingKeepsItsLocalTimeAcrossTheDaylightSavingChange) {
  Import(kDomain, "alice",
         Calendar(Event("zoned", "SUMMARY:Weekly\nDTSTART;TZID=America/New_York:20261019T090000\n"
                                 "DTEND;TZID=America/New_York:20261019T100000\nRRULE:FREQ=WEEKLY;COUNT=4\n")));
  Import(kDomain, "bob",
         Calendar(Event("floating", "SUMMARY:Weekly\nDTSTART:20261019T090000\nDTEND:20261019T100000\n"
                                    "RRULE:FREQ=WEEKLY;UNTIL=20261109T235959Z\n")));
  // 9:00 EDT is 13:00 UTC; after 1 November 9:00 EST is 14:00 UTC.
  const std::vector<std::string> weekly = {"2026-10-19T13:00:00 2026-10-19T14:00:00 Weekly #",
                                           "2026-10-26T13:00:00 2026-10-26T14:00:00 Weekly #",
                                           "2026-11-02T14:00:00 2026-11-02T15:00:00 Weekly #",
                                           "2026-11-09T14:00:00 2026-11-09T15:00:00 Weekly #"};
  EXPECT_EQ(Period("alice", "2026-10-01"), weekly);
  EXPECT_EQ(Period("bob", "2026-10-01"), weekly);
  EXPECT_EQ(Period("alice", "2026-10-26", "2026-11-03"),
            std::vector<std::string>(weekly.begin() + 1, weekly.begin() + 3));
}

// Expanded series are kept between queries: each series keeps its own occurrences, and an
// edited one shows its new ones on the next query.
TEST_F(LocalStoreTest, EachSeriesHasItsOwnOccurrencesAndAnEditShowsAtOnce) {
  const auto weekly = [](const std::string& subject, const std::string& day) {
    return Calendar(Event("series", "SUMMARY:" + subject + "\nDTSTART:202611" + day + "T150000Z\nDTEND:202611" +
                                        day + "T160000Z\nRRULE:FREQ=WEEKLY;COUNT=2\n"));
  };
  const auto first = [this](const std::string& account) { return Period(account).at(0); };
  Import(kDomain, "alice", weekly("Planning", "02"));
  Import(kDomain, "bob", weekly("Review", "03"));
  EXPECT_EQ(first("alice"), "2026-11-02T15:00:00 2026-11-02T16:00:00 Planning #");
  EXPECT_EQ(first("bob"), "2026-11-03T15:00:00 2026-11-03T16:00:00 Review #");
  Import(kDomain, "alice", weekly("Planning moved", "04"));
  EXPECT_EQ(first("alice"), "2026-11-04T15:00:00 2026-11-04T16:00:00 Planning moved #");
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
  EXPECT_TRUE(Period("alice").empty());

  // A value SQLite refuses to bind stops the statement rather than running it without.
  sqlite::Statement statement((*database)->handle(), "SELECT ?1");
  EXPECT_EQ(statement.Bind(1, "kept").Bind(2, "no such parameter").Step(), SQLITE_RANGE);
  EXPECT_EQ(statement.Reset().Bind(1, "kept").Step(), SQLITE_ROW);
}

}  // namespace
}  // namespace orbitel::data
