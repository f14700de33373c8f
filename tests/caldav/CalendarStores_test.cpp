// What the pages rely on from a calendar store, checked alike on the local store (real SQLite
// files) and the CalDAV store (a real Radicale): connections and their recordsets, the period and
// load queries, writes made only over the version read, and the appointment object saving.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <tuple>

#include "StoreFixture.h"
#include "StoreQueries.h"
#include "appointment/Appointment.h"
#include "runtime/DateText.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using namespace testing;

class CalendarStoreTest : public EitherStoreFixture, public ::testing::WithParamInterface<Store> {
 protected:
  CalendarStoreTest() : EitherStoreFixture(GetParam()) {}

  // The period query's rows as "<start> <end> <subject>" (UTC), sorted, with " @<location>" if
  // it has one, " all day" for an all-day item, and for an occurrence of a series " #", or
  // " #<its start in the series>" once moved. Each row's href names its item.
  std::vector<std::string> Period(const std::string& account, const std::string& from = "2026-11-01",
                                  const std::string& to = "2026-12-01") {
    Connection connection = Connect(account);
    std::string statement = PeriodQuery(FolderOf(account), from + "T00:00:00Z", to + "T00:00:00Z");
    statement.insert(statement.find("  FROM"), ", \"urn:schemas:calendar:recurrenceid\"");
    Recordset rows;
    const Status queried = OpenRecordset(rows, statement, connection);
    EXPECT_TRUE(queried.ok()) << queried.description();
    std::vector<std::string> result;
    // The columns: href, subject, all day, location, start, end, uid, start in the series.
    for (const std::vector<Value>& r : rows.rows()) {
      const Date start = *r[4].AsDate();
      std::string row = FormatIsoDate(start) + " " + FormatIsoDate(*r[5].AsDate()) + " " + r[1].Text();
      if (!r[3].Text().empty()) row += " @" + r[3].Text();
      if (r[2] == Value(true)) row += " all day";
      if (r[7].AsDate()) row += " #" + (*r[7].AsDate() == start ? "" : FormatIsoDate(*r[7].AsDate()));
      EXPECT_EQ(r[0].Text(), FolderOf(account) + r[6].Text() + ".ics");
      result.push_back(row);
    }
    std::sort(result.begin(), result.end());
    return result;
  }
};

// November 2026 in New York from each kind of item (private and free ones: ItemQuery_test).
TEST_P(CalendarStoreTest, PeriodQueryReadsEachKindOfItem) {
  const std::tuple<const char*, std::string, std::vector<std::string>> cases[] = {
      {"window", Event("inside", "SUMMARY:Inside\nLOCATION:Room 1\nDTSTART:20261110T140000Z\n"
                                 "DTEND:20261110T150000Z\n") +
           Event("early", "SUMMARY:Starts before\nDTSTART:20261031T230000Z\nDTEND:20261101T010000Z\n") +
           Event("late", "SUMMARY:Ends after\nDTSTART:20261130T230000Z\nDTEND:20261201T010000Z\n") +
           Event("edges", "SUMMARY:On both edges\nDTSTART:20261101T000000Z\nDTEND:20261201T000000Z\n"),
       {"2026-11-01T00:00:00 2026-12-01T00:00:00 On both edges",
        "2026-11-10T14:00:00 2026-11-10T15:00:00 Inside @Room 1"}},
      // All-day items span local days (New York midnights in November are 05:00 UTC).
      {"all-day", Event("day", "SUMMARY:Holiday\nDTSTART;VALUE=DATE:20261126\n") +
           Event("weekend", "SUMMARY:Weekend\nDTSTART;VALUE=DATE:20261107\nDTEND;VALUE=DATE:20261109\n"
                            "RRULE:FREQ=WEEKLY;COUNT=2\n") +
           Event("days", "SUMMARY:Two days\nDTSTART;VALUE=DATE:20261118\nDURATION:P2D\n"),
       {"2026-11-07T05:00:00 2026-11-09T05:00:00 Weekend all day #",
        "2026-11-14T05:00:00 2026-11-16T05:00:00 Weekend all day #",
        "2026-11-18T05:00:00 2026-11-20T05:00:00 Two days all day",
        "2026-11-26T05:00:00 2026-11-27T05:00:00 Holiday all day"}},
      // An end before the start is the start; floating times are the server's local time.
      {"odd-times", Event("backwards", "SUMMARY:Backwards\nDTSTART:20261110T150000Z\nDTEND:20261110T140000Z\n") +
           Event("no-end", "SUMMARY:No end\nDTSTART:20261111T150000Z\n") +
           Event("duration", "SUMMARY:Duration\nDTSTART:20261112T150000Z\nDURATION:PT1H30M\n") +
           Event("floating", "SUMMARY:Floating\nDTSTART:20261113T090000\nDTEND:20261113T100000\n") +
           Event("monthly", "SUMMARY:Endless\nDTSTART:20200115T150000Z\nDTEND:20200115T160000Z\n"
                            "RRULE:FREQ=MONTHLY\n"),
       {"2026-11-10T15:00:00 2026-11-10T15:00:00 Backwards", "2026-11-11T15:00:00 2026-11-11T15:00:00 No end",
        "2026-11-12T15:00:00 2026-11-12T16:30:00 Duration", "2026-11-13T14:00:00 2026-11-13T15:00:00 Floating",
        "2026-11-15T15:00:00 2026-11-15T16:00:00 Endless #"}},
      // A series with an excluded occurrence, one moved within the day and one moved out.
      {"series", Event("series", "SUMMARY:Standup\nDTSTART:20261102T150000Z\nDTEND:20261102T151500Z\n"
                       "RRULE:FREQ=DAILY;COUNT=5\nEXDATE:20261104T150000Z\n") +
           Event("series", "RECURRENCE-ID:20261103T150000Z\nSUMMARY:Late\n"
                           "DTSTART:20261103T170000Z\nDTEND:20261103T171500Z\n") +
           Event("series", "RECURRENCE-ID:20261105T150000Z\nSUMMARY:Moved out\n"
                           "DTSTART:20261210T170000Z\nDTEND:20261210T171500Z\n"),
       {"2026-11-02T15:00:00 2026-11-02T15:15:00 Standup #",
        "2026-11-03T17:00:00 2026-11-03T17:15:00 Late #2026-11-03T15:00:00",
        "2026-11-06T15:00:00 2026-11-06T15:15:00 Standup #"}},
  };
  std::vector<std::pair<std::string, std::string>> calendars;
  for (const auto& [account, events, rows] : cases) calendars.emplace_back(account, Calendar(events));
  // The same weekly meeting in the New York zone and in floating time.
  calendars.emplace_back(
      "weekly", Calendar(Event("zoned", "SUMMARY:Weekly\nDTSTART;TZID=America/New_York:20261019T090000\n"
                                        "DTEND;TZID=America/New_York:20261019T100000\nRRULE:FREQ=WEEKLY;COUNT=4\n") +
                         Event("floating", "SUMMARY:Weekly\nDTSTART:20261019T090000\nDTEND:20261019T100000\n"
                                           "RRULE:FREQ=WEEKLY;UNTIL=20261109T235959Z\n")));
  Fill(calendars);
  // Asked at once, as a server's request threads ask.
  std::vector<std::thread> threads;
  for (const auto& c : cases) {
    threads.emplace_back([&] { EXPECT_EQ(Period(std::get<0>(c)), std::get<2>(c)) << std::get<1>(c); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Period("series", "2026-12-01", "2027-01-01"),
            std::vector<std::string>{"2026-12-10T17:00:00 2026-12-10T17:15:00 Moved out #2026-11-05T15:00:00"});

  // Both keep 9:00 local across the change to standard time: 13:00 UTC, from 1 November 14:00.
  const auto twice = [](std::initializer_list<const char*> rows) {
    std::vector<std::string> doubled;
    for (const char* row : rows) doubled.insert(doubled.end(), 2, std::string(row) + " Weekly #");
    return doubled;
  };
  EXPECT_EQ(Period("weekly", "2026-10-01"),
            twice({"2026-10-19T13:00:00 2026-10-19T14:00:00", "2026-10-26T13:00:00 2026-10-26T14:00:00",
                   "2026-11-02T14:00:00 2026-11-02T15:00:00", "2026-11-09T14:00:00 2026-11-09T15:00:00"}));
}

TEST_P(CalendarStoreTest, TheLoadAndDeleteQueriesFindTheOneItemOfThatName) {
  Fill({{"alice", Calendar(Event("O'Brien", "DTSTART:20031105T140000Z\nDTEND:20031105T150000Z\nSUMMARY:Lunch\n"
                                            "DESCRIPTION:Bring the menu\n") +
                           Event("weekly", "DTSTART:20031020T150000Z\nDTEND:20031020T160000Z\n"
                                           "RRULE:FREQ=WEEKLY;COUNT=8\nEXDATE:20031110T150000Z\n"))}});
  const std::string folder = FolderOf("alice");
  Connection connection = Connect("alice");
  Recordset rows;
  ASSERT_TRUE(OpenRecordset(rows, LoadQuery(folder), connection).ok());
  ASSERT_EQ(rows.rows().size(), 1u);
  EXPECT_EQ(rows.Field("DAV:displayname")->Text(), "O'Brien.ics");
  EXPECT_EQ(rows.Field("DAV:href")->Text(), folder + "O'Brien.ics");
  EXPECT_EQ(rows.Field("urn:schemas:httpmail:subject")->Text(), "Lunch");
  EXPECT_EQ(rows.Field("urn:schemas:httpmail:textdescription")->Text(), "Bring the menu");
  EXPECT_EQ(rows.Field("urn:schemas:calendar:busystatus")->Text(), "BUSY");
  EXPECT_TRUE(rows.Field("urn:schemas:calendar:recurrenceid")->IsEmpty());
  // A name that is not there is no row, not an error; a series by name is all its occurrences.
  ASSERT_TRUE(OpenRecordset(rows, LoadQuery(folder, "nobody.ics"), connection).ok());
  EXPECT_TRUE(rows.rows().empty());
  ASSERT_TRUE(OpenRecordset(rows, LoadQuery(folder, "weekly.ics"), connection).ok());
  EXPECT_EQ(rows.rows().size(), 7u);

  // Deleting the delete page's row removes the item; gone, it is the store's "cannot open" error.
  ASSERT_TRUE(OpenRecordset(rows, DeleteQuery(folder), connection).ok());
  ASSERT_TRUE(rows.MoveFirst().ok());
  ASSERT_TRUE(rows.Delete().ok());
  ASSERT_TRUE(rows.Update().ok());
  ASSERT_TRUE(OpenRecordset(rows, LoadQuery(folder), connection).ok());
  EXPECT_TRUE(rows.rows().empty());
  EXPECT_EQ(connection.folder()->DeleteItem(folder + "O'Brien.ics").number(), errors::kCannotOpenFolder);
}

// A row is deleted by href, through its open connection; a connection queries its own folder only.
TEST_P(CalendarStoreTest, RecordsetsLiveOnlyWhileTheirConnectionIsOpenOnTheirFolder) {
  Fill({{"alice", Calendar(Event("O'Brien", "DTSTART:20031105T140000Z\nDTEND:20031105T150000Z\n"))},
        {"bob", Calendar("")}});
  const std::string scope = InFolder(FolderOf("alice"));
  Connection connection = Connect("alice");
  const auto opened = [&](const std::string& column) {
    Recordset rows;
    EXPECT_TRUE(OpenRecordset(rows, "SELECT " + column + " " + scope + "(\"DAV:displayname\" = 'O''Brien.ics')",
                              connection).ok());
    EXPECT_TRUE(rows.MoveFirst().ok());
    return rows;
  };
  EXPECT_EQ(opened("\"urn:schemas:calendar:uid\"").Delete().number(), errors::kItemNotFoundInCollection);
  Recordset rows = opened("\"DAV:href\"");
  connection.Close();
  EXPECT_EQ(rows.Delete().number(), errors::kOperationOnClosedObject);
  ASSERT_TRUE(connection.Open(FolderOf("alice")).ok());
  // A recordset of the earlier opening stays cut off from the reopened folder.
  EXPECT_EQ(rows.Delete().number(), errors::kOperationOnClosedObject);
  EXPECT_EQ(opened("\"DAV:href\"").rows().size(), 1u);

  const std::pair<std::string, long> failures[] = {
      {"SELECT \"DAV:href\" " + scope + "(\"DAV:displayname\" = 'O'Brien.ics')", errors::kSyntaxError},
      {"", errors::kSyntaxError},
      {"SELECT \"DAV:href\" " + scope + "\"urn:x:nosuch\" = 1", errors::kItemNotFoundInCollection},
      {PeriodQuery(FolderOf("bob")), errors::kCannotOpenFolder},
  };
  for (const auto& [statement, number] : failures) {
    Recordset kept({{"x"}}, {{Value(1)}});
    EXPECT_EQ(OpenRecordset(kept, statement, connection).number(), number) << statement;
    EXPECT_FALSE(kept.IsOpen());
  }
  // Opened again on bob's folder, it queries bob's only; opening a missing folder closes it.
  ASSERT_TRUE(connection.Open(FolderOf("bob")).ok());
  EXPECT_EQ(OpenRecordset(rows, PeriodQuery(FolderOf("alice")), connection).number(), errors::kCannotOpenFolder);
  EXPECT_EQ(connection.Open(FolderOf("carol")).number(), errors::kCannotOpenFolder);
  EXPECT_EQ(connection.State(), kStateClosed);
  EXPECT_EQ(OpenRecordset(rows, PeriodQuery(FolderOf("alice")), connection).number(), errors::kOperationOnClosedObject);
}

// A team page's run of folder reads answers each folder in turn as a connection and recordset of
// its own would, a missing calendar, a statement that does not parse or names another folder
// failing alone; what a reader needs (a span of time, or no names) leaves out nothing it reads.
TEST_P(CalendarStoreTest, ARunOfFolderReadsAnswersEachFolderAsItsOwnReadWould) {
  Fill(CalendarTexts({{"alice", Event("a", "SUMMARY:Alice\nDTSTART:20261110T140000Z\nDTEND:20261110T150000Z\n") +
                                    Event("weekly", "SUMMARY:Weekly\nDTSTART:20261103T140000Z\n"
                                                    "DTEND:20261103T150000Z\nRRULE:FREQ=WEEKLY;COUNT=4\n")},
                      {"bob", Event("b", "SUMMARY:Bob\nDTSTART:20261111T230000Z\nDTEND:20261112T010000Z\n") +
                                  Event("c", "SUMMARY:Late\nDTSTART:20261120T140000Z\nDTEND:20261120T150000Z\n")}}));
  const auto period = [this](const std::string& account) {
    return PeriodQuery(FolderOf(account), "2026-11-01T00:00:00Z", "2026-12-01T00:00:00Z");
  };
  const std::vector<FolderQuery> queries = {
      {FolderOf("alice"), period("alice")}, {FolderOf("carol"), period("carol")},
      {FolderOf("bob"), period("bob")},     {FolderOf("alice"), "SELECT \"DAV:href\" FROM nowhere"},
      {FolderOf("bob"), period("alice")},   {FolderOf("alice"), period("alice")},
      {FolderOf("alice"), LoadQuery(FolderOf("alice"), "a.ics")}};
  const auto provider = *providers_.ForUrl(FolderOf("alice"));
  const auto read = [&](const ReadNeeds& span) {
    std::vector<std::pair<std::size_t, FolderAnswer>> answers;
    provider->ReadFolders(queries, span, [&](std::size_t i, FolderAnswer& answer) {
      answers.emplace_back(i, std::move(answer));
    });
    return answers;
  };
  const auto all = read({});
  ASSERT_EQ(all.size(), queries.size());
  for (std::size_t i = 0; i < queries.size(); ++i) {
    EXPECT_EQ(all[i].first, i);
    Connection connection(providers_);
    connection.Provider = store_ == Store::kLocal ? "ExOLEDB.DataSource" : "MSDAIPP.DSO";
    const Status opened = connection.Open(queries[i].folder_url);
    EXPECT_EQ(all[i].second.opened.number(), opened.number()) << i;
    if (!opened.ok()) continue;
    Recordset rows;
    EXPECT_EQ(all[i].second.queried.number(), OpenRecordset(rows, queries[i].statement, connection).number()) << i;
    EXPECT_EQ(all[i].second.rows.rows(), rows.rows()) << i;
  }
  EXPECT_EQ(all[0].second.rows.rows().size(), 5u);
  EXPECT_EQ(all[1].second.opened.number(), errors::kCannotOpenFolder);
  EXPECT_EQ(all[3].second.queried.number(), errors::kSyntaxError);
  EXPECT_EQ(all[4].second.queried.number(), errors::kCannotOpenFolder);

  // From 15:00 on the 10th to the 12th: Alice's item and the series' occurrence ending at 15:00
  // and Bob's item running into the 12th are kept, and nothing that was not there.
  const UtcSeconds from = UtcOfDate(At("2026-11-10T15:00:00Z")), until = UtcOfDate(At("2026-11-12T00:00:00Z"));
  const auto narrow = read({from, until});
  ASSERT_EQ(narrow.size(), queries.size());
  int overlapping = 0;
  for (const std::size_t i : {0u, 2u}) {
    const auto& whole = all[i].second.rows.rows();
    const auto& kept = narrow[i].second.rows.rows();
    for (const auto& row : whole) {
      if (UtcOfDate(*row[5].AsDate()) < from || UtcOfDate(*row[4].AsDate()) >= until) continue;
      ++overlapping;
      EXPECT_NE(std::find(kept.begin(), kept.end(), row), kept.end()) << row[1].Text();
    }
    for (const auto& row : kept) EXPECT_NE(std::find(whole.begin(), whole.end(), row), whole.end());
  }
  EXPECT_EQ(overlapping, 3);

  // A reader that reads no names gets every other column as it was, and a query by name its item.
  ReadNeeds nameless;
  nameless.names = false;
  const auto unnamed = read(nameless);
  ASSERT_EQ(unnamed.size(), queries.size());
  ASSERT_EQ(unnamed[0].second.rows.rows().size(), all[0].second.rows.rows().size());
  for (std::size_t r = 0; r < all[0].second.rows.rows().size(); ++r) {
    for (const std::size_t column : {1u, 2u, 3u, 4u, 5u}) {
      EXPECT_EQ(unnamed[0].second.rows.rows()[r][column], all[0].second.rows.rows()[r][column]) << r;
    }
  }
  EXPECT_EQ(unnamed[6].second.rows.rows(), all[6].second.rows.rows());
  EXPECT_EQ(all[6].second.rows.rows().size(), 1u);
  provider->ReadFolders({}, {}, [](std::size_t, FolderAnswer&) { ADD_FAILURE() << "an empty run answers nothing"; });
}

// Items are replaced only over the version read; each series keeps its own occurrences, an edited
// one showing its new ones at once (the local store keeps expanded series between queries).
TEST_P(CalendarStoreTest, ItemsAreCreatedReadReplacedAndDeleted) {
  const auto weekly = [](const std::string& uid, const std::string& subject, const std::string& day) {
    return Calendar(Event(uid, "SUMMARY:" + subject + "\nDTSTART:202611" + day + "T150000Z\nDTEND:202611" +
                                   day + "T160000Z\nRRULE:FREQ=WEEKLY;COUNT=2\n"));
  };
  Fill({{"alice", weekly("series", "Planning", "02")}, {"bob", weekly("series", "Review", "03")}});
  EXPECT_EQ(Period("alice").at(0), "2026-11-02T15:00:00 2026-11-02T16:00:00 Planning #");
  EXPECT_EQ(Period("bob").at(0), "2026-11-03T15:00:00 2026-11-03T16:00:00 Review #");
  const std::string url = FolderOf("alice");
  const std::unique_ptr<StoreFolder> store = Folder("alice");
  ASSERT_TRUE(store);
  auto read = store->ReadItem(url + "series.ics");
  ASSERT_TRUE(read.ok()) << read.status().description();
  ASSERT_TRUE(store->ReplaceItem(read->href, weekly("series", "Planning moved", "04"), read->etag).ok());
  EXPECT_EQ(Period("alice").at(0), "2026-11-04T15:00:00 2026-11-04T16:00:00 Planning moved #");
  const Status stale = store->ReplaceItem(read->href, read->ics, read->etag);
  EXPECT_EQ(stale.number(), errors::kItemChanged);
  EXPECT_NE(stale.description().find("changed by someone else"), std::string::npos);
  EXPECT_EQ(Period("alice").at(0), "2026-11-04T15:00:00 2026-11-04T16:00:00 Planning moved #");

  // A new item is named after its UID; the same UID again is stored under a fresh one.
  auto first = store->CreateItem(weekly("extra", "Extra", "05"));
  ASSERT_TRUE(first.ok()) << first.status().description();
  EXPECT_EQ(*first, url + "extra.ics");
  auto second = store->CreateItem(weekly("extra", "Extra", "05"));
  ASSERT_TRUE(second.ok());
  EXPECT_NE(*second, *first);
  ASSERT_TRUE(store->DeleteItem(*first).ok());
  EXPECT_EQ(store->ReadItem(*first).status().number(), errors::kCannotOpenFolder);
  EXPECT_EQ(store->DeleteItem(*first).number(), errors::kCannotOpenFolder);
  EXPECT_EQ(store->ReadItem(url + "../bob/calendar/x.ics").status().number(), errors::kCannotOpenFolder);
}

// Saved as local times or dates, read back through a fresh object as set, typed blanks included.
TEST_P(CalendarStoreTest, SavedAppointmentsReadBackAsTheyWereSet) {
  Fill({{"alice", Calendar("")}});
  const std::string url = FolderOf("alice");
  Appointment timed(providers_);
  timed.Subject = "Budget\treview  ";  // typed blanks kept at the end, and at the start of the location
  timed.Location = "  Room 7";
  timed.BusyStatus = "Tentative";
  timed.StartTime = At("2026-11-10T09:00");
  timed.EndTime = At("2026-11-10T10:30");
  timed.TextBody = "  first line\n\tsecond  ";
  ASSERT_TRUE(timed.DataSource().SaveToContainer(url).ok());
  Appointment all_day(providers_);
  all_day.AllDayEvent = true;
  all_day.StartTime = At("2026-11-10");
  all_day.EndTime = At("2026-11-12");
  ASSERT_TRUE(all_day.DataSource().SaveToContainer(url).ok());

  const std::pair<Appointment*, std::vector<const char*>> saved[] = {
      {&timed, {"DTSTART:20261110T140000Z", "DTEND:20261110T153000Z",
                "X-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE", "STATUS:TENTATIVE"}},
      {&all_day, {"DTSTART;VALUE=DATE:20261110", "DTEND;VALUE=DATE:20261112"}},
  };
  for (const auto& [appointment, lines] : saved) {
    const std::string href = appointment->DataSource().href();
    auto item = Folder("alice")->ReadItem(href);
    ASSERT_TRUE(item.ok());
    for (const char* line : lines) EXPECT_NE(item->ics.find(line), std::string::npos) << line << item->ics;
    Appointment read(providers_);
    ASSERT_TRUE(read.DataSource().Open(href).ok());
    EXPECT_EQ(std::tie(read.Subject, read.Location, read.TextBody, read.AllDayEvent),
              std::tie(appointment->Subject, appointment->Location, appointment->TextBody, appointment->AllDayEvent));
    EXPECT_EQ(std::tie(read.StartTime, read.EndTime), std::tie(appointment->StartTime, appointment->EndTime));
  }
  Appointment read(providers_);
  ASSERT_TRUE(read.DataSource().Open(timed.DataSource().href()).ok());
  EXPECT_EQ(read.BusyStatus, "TENTATIVE");
  // A missing item or folder is the store's "cannot open" error; nothing opened, nothing saves.
  Appointment none(providers_);
  EXPECT_EQ(none.DataSource().Open(url + "none.ics").number(), errors::kCannotOpenFolder);
  EXPECT_EQ(none.DataSource().SaveToContainer(FolderOf("nobody")).number(), errors::kCannotOpenFolder);
  EXPECT_FALSE(none.DataSource().Save().ok());
}

// Saving keeps what the object does not edit, and never overwrites someone else's save.
TEST_P(CalendarStoreTest, SavingAnOpenedItemKeepsWhatItDoesNotEditAndOthersChanges) {
  Fill({{"alice", Calendar(Event("meeting", "SUMMARY:Planning\nDTSTART;TZID=America/New_York:20261110T090000\n"
                                            "DTEND;TZID=America/New_York:20261110T100000\n"
                                            "ATTENDEE;CN=Bob:mailto:bob@example.com\nCATEGORIES:Blue,Green\n"
                                            "X-CUSTOM-FLAG:keep me\nRRULE:FREQ=WEEKLY;COUNT=3\n"))}});
  const std::string href = FolderOf("alice") + "meeting.ics";
  Appointment appointment(providers_);
  ASSERT_TRUE(appointment.DataSource().Open(href).ok());
  EXPECT_EQ(appointment.StartTime, At("2026-11-10T09:00"));
  appointment.Subject = "Planning (agenda)";
  ASSERT_TRUE(appointment.DataSource().Save().ok());
  auto saved = Folder("alice")->ReadItem(href);
  ASSERT_TRUE(saved.ok());
  // Edited in place (ICalendar_test checks each kind of property the edit keeps).
  for (const char* kept : {"X-CUSTOM-FLAG:keep me", "RRULE:FREQ=WEEKLY;COUNT=3", "SUMMARY:Planning (agenda)"}) {
    EXPECT_NE(saved->ics.find(kept), std::string::npos) << kept << "\n" << saved->ics;
  }

  // The same object saves again from its new version, over the head of one opened before.
  Appointment stale(providers_);
  ASSERT_TRUE(stale.DataSource().Open(href).ok());
  appointment.Location = "Room 3";
  ASSERT_TRUE(appointment.DataSource().Save().ok());
  stale.Subject = "Planning (stale)";
  EXPECT_EQ(stale.DataSource().Save().number(), errors::kItemChanged);
  EXPECT_NE(Folder("alice")->ReadItem(href)->ics.find("LOCATION:Room 3"), std::string::npos);
  // Opened afresh, it saves.
  ASSERT_TRUE(stale.DataSource().Open(href).ok());
  stale.Subject = "Planning (fresh)";
  EXPECT_TRUE(stale.DataSource().Save().ok());
}

TEST(ConnectionProviders, FoundByNameInAnyCaseAndChosenByTheUrlsForm) {
  const StoreProviders providers = testing::ProvidersFor(StoreSettings{});
  for (const char* name : {"exoledb.datasource", "MSDAIPP.DSO"}) EXPECT_TRUE(providers.Find(name).ok());
  for (const char* name : {"SQLOLEDB", "", "ExOLEDB.DataSource "}) {
    EXPECT_EQ(providers.Find(name).status().number(), errors::kProviderNotFound) << name;
  }
  Connection unknown(providers);
  unknown.Provider = "SQLOLEDB";
  EXPECT_EQ(unknown.Open(kLocalFolder).number(), errors::kProviderNotFound);
  const std::pair<const char*, const char*> urls[] = {
      {"FILE://./BackOfficeStorage/orbitel.demo/MBX/bob/calendar/", "ExOLEDB.DataSource"},
      {"HTTPS://mail/", "MSDAIPP.DSO"}, {"http://mail/exchange/alice/calendar/", "MSDAIPP.DSO"},
      {"file://./otherstorage/orbitel.demo/MBX/alice/calendar/", nullptr}, {"ftp://mail/alice/", nullptr},
  };
  for (const auto& [url, name] : urls) {
    auto provider = providers.ForUrl(url);
    EXPECT_EQ(provider.value_or(nullptr), name ? *providers.Find(name) : nullptr) << url;
    EXPECT_TRUE(name || provider.status().number() == errors::kCannotOpenFolder) << url;
  }
}

INSTANTIATE_TEST_SUITE_P(LocalStore, CalendarStoreTest, ::testing::Values(Store::kLocal));
INSTANTIATE_TEST_SUITE_P(CalDav, CalendarStoreTest, ::testing::Values(Store::kCalDav));

}  // namespace
}  // namespace orbitel::data
