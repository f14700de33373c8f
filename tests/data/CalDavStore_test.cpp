// The CalDAV store ("MSDAIPP.DSO") against a real Radicale server that the suite starts on a free
// local port with its own configuration, accounts and storage folder, and stops at the end.
#include "data/CalDavStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "TempFolder.h"
#include "data/Appointment.h"
#include "data/CalDavClient.h"
#include "data/CalDavXml.h"
#include "data/Connection.h"
#include "data/IsoDate.h"
#include "data/RadicaleServer.h"
#include "data/StoreFixture.h"
#include "data/StoreQueries.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::Calendar;
using testing::Event;
using testing::FreePort;
using testing::RadicaleServer;

constexpr char kUser[] = "orbitel";
constexpr char kPassword[] = "team:calendars";  // a colon, as basic authentication allows

Date Utc(const char* iso) { return *ParseIsoDate(iso); }

// Replaces the folder URL inside a statement's scope('shallow traversal of "..."').
std::string InScope(std::string statement, const std::string& folder) {
  const std::string opening = "shallow traversal of \"";
  const std::size_t start = statement.find(opening) + opening.size();
  return statement.replace(start, statement.find('"', start) - start, folder);
}

// The load query of the calendar pages for the item of that (quoted) display name.
std::string LoadQuery(const std::string& folder, const std::string& name) {
  std::string statement = InScope(testing::kLoadQuery, folder);
  return statement.replace(statement.find("O''Brien.ics"), 12, name);
}

// The rows of a recordset as (column name -> value) lookups.
struct Table {
  std::vector<FieldInfo> fields;
  std::vector<std::vector<Value>> rows;

  Value At(std::size_t row, const std::string& field) const {
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (fields[i].name == field) return rows[row][i];
    }
    ADD_FAILURE() << "no field " << field;
    return Value();
  }
};

// Each row as "<field's date, UTC> <uid>", in that order.
std::vector<std::string> Dated(const Table& table, const std::string& field) {
  std::vector<std::string> rows;
  for (std::size_t i = 0; i < table.rows.size(); ++i) {
    const Value date = table.At(i, field);
    rows.push_back((date.AsDate() ? FormatIsoDate(*date.AsDate()) : "no date") + " " +
                   table.At(i, "urn:schemas:calendar:uid").Text());
  }
  std::sort(rows.begin(), rows.end());
  return rows;
}

// Alice's calendar: timed, all-day, a series with an excluded and a moved occurrence, and the
// items the period query leaves out (private, free, outside the window).
const std::string kAlice = Calendar(
    Event("inside", "DTSTART:20031104T140000Z\nDTEND:20031104T150000Z\nSUMMARY:Review\nLOCATION:Room 1\n") +
    Event("O'Brien", "DTSTART:20031105T140000Z\nDTEND:20031105T150000Z\nSUMMARY:Lunch\n"
                     "DESCRIPTION:Bring the menu\n") +
    Event("holiday", "DTSTART;VALUE=DATE:20031127\nDTEND;VALUE=DATE:20031128\nSUMMARY:Thanksgiving\n") +
    Event("weekly", "DTSTART:20031020T150000Z\nDTEND:20031020T160000Z\nRRULE:FREQ=WEEKLY;COUNT=8\n"
                    "EXDATE:20031110T150000Z\nSUMMARY:Standup\n") +
    Event("weekly", "RECURRENCE-ID:20031117T150000Z\nDTSTART:20031118T170000Z\nDTEND:20031118T180000Z\n"
                    "SUMMARY:Standup (moved)\n") +
    Event("private", "DTSTART:20031106T140000Z\nDTEND:20031106T150000Z\nSUMMARY:Doctor\nCLASS:PRIVATE\n") +
    Event("free", "DTSTART:20031107T140000Z\nDTEND:20031107T150000Z\nSUMMARY:Optional\nTRANSP:TRANSPARENT\n") +
    Event("starts-before", "DTSTART:20031025T120000Z\nDTEND:20031025T140000Z\nSUMMARY:Early\n") +
    Event("after", "DTSTART:20031210T140000Z\nDTEND:20031210T150000Z\nSUMMARY:Late\n"));

class CalDavStoreTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    setenv("TZ", "America/New_York", 1);
    tzset();
    server_ = std::make_unique<RadicaleServer>();
    startup_error_ = server_->Start(kUser, kPassword);
    base_url_ = server_->base_url();
    if (startup_error_.empty()) {
      startup_error_ = server_->StoreSiteCalendars(
          {{"alice", kAlice}, {"bob", Calendar("")}, {"dave", Calendar("")}});
    }
  }

  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    if (!startup_error_.empty()) GTEST_FAIL() << startup_error_;
    ConfigureStores(Settings(kPassword));
  }
  void TearDown() override { ConfigureStores(StoreSettings{}); }

  static StoreSettings Settings(const std::string& password) {
    StoreSettings settings;
    settings.credentials = StoreCredentials{kUser, password};
    return settings;
  }

  static std::string FolderOf(const std::string& account) {
    return base_url_ + "exchange/" + account + "/calendar/";
  }

  // A request as another client of the server would send it, signed in with the store account.
  static HttpResponse Send(const std::string& method, const std::string& url,
                           const std::string& body = "") {
    CalDavClient client(StoreCredentials{kUser, kPassword});
    Result<HttpResponse> response =
        client.Send(HttpRequest{method, url, body, "text/calendar", {}});
    EXPECT_TRUE(response.ok()) << response.status().description();
    return response.ok() ? response.value() : HttpResponse{};
  }

  static Table Query(Connection& connection, const std::string& statement) {
    Recordset rows;
    const Status opened = OpenRecordset(rows, statement, connection);
    EXPECT_TRUE(opened.ok()) << opened.description();
    return Table{rows.fields(), rows.rows()};
  }

  static Connection Open(const std::string& url) {
    Connection connection;
    connection.Provider = "MSDAIPP.DSO";
    const Status opened = connection.Open(url);
    EXPECT_TRUE(opened.ok()) << opened.description();
    return connection;
  }

  static Status TryOpen(const std::string& url) {
    Connection connection;
    connection.Provider = "MSDAIPP.DSO";
    return connection.Open(url);
  }

  static inline std::unique_ptr<RadicaleServer> server_;
  static inline std::string base_url_;
  static inline std::string startup_error_;

};

// Servers answer the properties they lack in a propstat of their own (404) that may follow the
// found ones; its empty values must not replace what was found.
TEST(CalDavAnswers, PropertiesAnsweredNotFoundAreLeftOut) {
  auto resources = ParseMultistatus(
      "<d:multistatus xmlns:d=\"DAV:\" xmlns:c=\"urn:ietf:params:xml:ns:caldav\"><d:response>"
      "<d:href>/a/x.ics</d:href><d:propstat><d:prop><d:getetag>\"1\"</d:getetag>"
      "<c:calendar-data>BEGIN:VCALENDAR</c:calendar-data></d:prop>"
      "<d:status>HTTP/1.1 200 OK</d:status></d:propstat><d:propstat><d:prop><d:getetag/>"
      "<c:calendar-data/></d:prop><d:status>HTTP/1.1 404 Not Found</d:status></d:propstat>"
      "</d:response></d:multistatus>");
  ASSERT_TRUE(resources.ok()) << resources.status().description();
  ASSERT_EQ(resources->size(), 1u);
  EXPECT_EQ((*resources)[0].etag, "\"1\"");
  EXPECT_EQ((*resources)[0].calendar_data, "BEGIN:VCALENDAR");
}

TEST_F(CalDavStoreTest, ThePeriodQueryReturnsEveryKindOfItemInsideTheWindowOnly) {
  Connection connection = Open(FolderOf("alice"));
  const std::string statement = InScope(testing::kPeriodQuery, FolderOf("alice"));
  const Table table = Query(connection, statement);
  // Timed, all-day and the series' occurrences: the excluded one missing, the moved one at its
  // new time, the first and last outside the window; private and free items filtered out.
  EXPECT_EQ(Dated(table, "urn:schemas:calendar:dtstart"),
            (std::vector<std::string>{
                "2003-10-27T15:00:00 weekly", "2003-11-03T15:00:00 weekly",
                "2003-11-04T14:00:00 inside", "2003-11-05T14:00:00 O'Brien",
                "2003-11-18T17:00:00 weekly", "2003-11-24T15:00:00 weekly",
                "2003-11-27T05:00:00 holiday", "2003-12-01T15:00:00 weekly"}));
  for (std::size_t i = 0; i < table.rows.size(); ++i) {
    const std::string uid = table.At(i, "urn:schemas:calendar:uid").Text();
    SCOPED_TRACE(uid);
    EXPECT_EQ(table.At(i, "DAV:href").Text(), FolderOf("alice") + uid + ".ics");
    EXPECT_EQ(table.At(i, "urn:schemas:calendar:alldayevent"), Value(uid == "holiday"));
    if (uid == "inside") {
      EXPECT_EQ(table.At(i, "urn:schemas:calendar:location").Text(), "Room 1");
      EXPECT_EQ(table.At(i, "urn:schemas:calendar:dtend"), Value(Utc("2003-11-04T15:00:00Z")));
    }
    if (uid == "holiday") {
      EXPECT_EQ(table.At(i, "urn:schemas:calendar:dtend"), Value(Utc("2003-11-28T05:00:00Z")));
    }
  }

  // Each occurrence carries the start it has in the series, the moved one included.
  std::string with_ids = statement;
  with_ids.replace(with_ids.find(" FROM"), 0, ", \"urn:schemas:calendar:recurrenceid\"");
  std::vector<std::string> ids =
      Dated(Query(connection, with_ids), "urn:schemas:calendar:recurrenceid");
  std::erase_if(ids, [](const std::string& row) { return !row.ends_with(" weekly"); });
  EXPECT_EQ(ids, (std::vector<std::string>{
                     "2003-10-27T15:00:00 weekly", "2003-11-03T15:00:00 weekly",
                     "2003-11-17T15:00:00 weekly", "2003-11-24T15:00:00 weekly",
                     "2003-12-01T15:00:00 weekly"}));
}

TEST_F(CalDavStoreTest, TheLoadQueryReadsTheOneItemOfThatName) {
  Connection connection = Open(FolderOf("alice"));
  const Table table = Query(connection, LoadQuery(FolderOf("alice"), "O''Brien.ics"));
  ASSERT_EQ(table.rows.size(), 1u);
  EXPECT_EQ(table.At(0, "DAV:displayname").Text(), "O'Brien.ics");
  EXPECT_EQ(table.At(0, "DAV:href").Text(), FolderOf("alice") + "O'Brien.ics");
  EXPECT_EQ(table.At(0, "urn:schemas:httpmail:subject").Text(), "Lunch");
  EXPECT_EQ(table.At(0, "urn:schemas:httpmail:textdescription").Text(), "Bring the menu");
  EXPECT_EQ(table.At(0, "urn:schemas:calendar:busystatus").Text(), "BUSY");
  EXPECT_TRUE(table.At(0, "urn:schemas:calendar:recurrenceid").IsEmpty());

  // A name that is not there is no row, not an error; a series by name is all its occurrences.
  EXPECT_TRUE(Query(connection, LoadQuery(FolderOf("alice"), "nobody.ics")).rows.empty());
  EXPECT_EQ(Query(connection, LoadQuery(FolderOf("alice"), "weekly.ics")).rows.size(), 7u);
}

TEST_F(CalDavStoreTest, TheAppointmentObjectCreatesOpensAndSavesItems) {
  Appointment created;
  created.Subject = "Budget review";
  created.Location = "Room 7";
  created.StartTime = Utc("2026-11-10T09:00:00");  // local times
  created.EndTime = Utc("2026-11-10T10:30:00");
  ASSERT_TRUE(created.DataSource().SaveToContainer(FolderOf("bob")).ok());

  Connection connection = Open(FolderOf("bob"));
  const Table found = Query(connection, "SELECT \"DAV:href\", \"urn:schemas:calendar:dtstart\" "
                                        "FROM scope('shallow traversal of \"" + FolderOf("bob") +
                                        "\"') WHERE \"urn:schemas:httpmail:subject\" = 'Budget review'");
  ASSERT_EQ(found.rows.size(), 1u);
  EXPECT_EQ(found.At(0, "urn:schemas:calendar:dtstart"), Value(Utc("2026-11-10T14:00:00Z")));
  const std::string href = found.At(0, "DAV:href").Text();

  Appointment opened;
  ASSERT_TRUE(opened.DataSource().Open(href).ok());
  EXPECT_EQ(opened.Subject, "Budget review");
  EXPECT_EQ(opened.Location, "Room 7");
  EXPECT_EQ(opened.StartTime, Utc("2026-11-10T09:00:00"));
  opened.Location = "Room 9";
  ASSERT_TRUE(opened.DataSource().Save().ok());

  // Someone else changes the item between opening and saving: the save fails and their change
  // stays; opened afresh, the item saves again.
  Appointment stale;
  ASSERT_TRUE(stale.DataSource().Open(href).ok());
  std::string theirs = Send("GET", href).body;
  theirs.replace(theirs.find("SUMMARY:Budget review"), 21, "SUMMARY:Budget (moved)");
  const long put = Send("PUT", href, theirs).status;
  ASSERT_TRUE(put == 201 || put == 204) << put;
  stale.Location = "Room 1";
  const Status saved = stale.DataSource().Save();
  EXPECT_EQ(saved.number(), kItemChanged) << saved.description();
  const std::string now = Send("GET", href).body;
  EXPECT_NE(now.find("SUMMARY:Budget (moved)"), std::string::npos) << now;
  EXPECT_NE(now.find("LOCATION:Room 9"), std::string::npos) << now;
  ASSERT_TRUE(stale.DataSource().Open(href).ok());
  stale.Location = "Room 1";
  EXPECT_TRUE(stale.DataSource().Save().ok());
}

TEST_F(CalDavStoreTest, DeletingARowOfTheDeleteQueryRemovesTheItem) {
  const std::string item = FolderOf("bob") + "O'Brien.ics";
  ASSERT_EQ(Send("PUT", item, Calendar(Event("O'Brien", "DTSTART:20031105T140000Z\r\n"
                                                        "DTEND:20031105T150000Z\r\n"))).status,
            201);
  Connection connection = Open(FolderOf("bob"));
  const std::string statement = InScope(testing::kDeleteQuery, FolderOf("bob"));
  Recordset rows;
  ASSERT_TRUE(OpenRecordset(rows, statement, connection).ok());
  ASSERT_TRUE(rows.MoveFirst().ok());
  ASSERT_TRUE(rows.Delete().ok());
  ASSERT_TRUE(rows.Update().ok());
  EXPECT_TRUE(Query(connection, statement).rows.empty());
  EXPECT_EQ(Send("GET", item).status, 404);
  // Gone already: a second removal is the store's "cannot open" error.
  EXPECT_EQ(connection.folder()->DeleteItem(item).number(), errors::kCannotOpenFolder);
  // Alice's item of the same name is untouched.
  EXPECT_EQ(Send("GET", FolderOf("alice") + "O'Brien.ics").status, 200);
}

// Each folder fails to open with the store's error, and fails the same way when it was fetched
// ahead in one batch with others, the one that works included. So does the service probe.
TEST_F(CalDavStoreTest, FoldersThatCannotBeReachedOrReadFailCleanlyPrefetchedOrNot) {
  const std::string closed = "http://127.0.0.1:" + std::to_string(FreePort()) + "/";
  const std::pair<std::string, const char*> folders[] = {
      {FolderOf("carol"), "404"},
      {base_url_ + "exchange/alice/", "not a calendar"},
      {closed + "alice/calendar/", "cannot be reached"},
      {"ftp://127.0.0.1/alice/calendar/", "not a CalDAV calendar"},
      {FolderOf("alice") + "has space/", ""},  // not a URL curl takes
      {FolderOf("alice"), "401"},              // with the wrong password
  };
  // "<number> <state> <description>" of each open, and "<number> <rows>" of the period query of
  // each folder that opens.
  const auto outcomes = [&folders](bool prefetching) {
    std::vector<FolderQuery> queries;
    for (const auto& [folder, reason] : folders) queries.push_back({folder, InScope(testing::kPeriodQuery, folder)});
    std::optional<PrefetchScope> prefetch;
    if (prefetching) prefetch.emplace("MSDAIPP.DSO", queries);
    std::vector<std::string> results;
    for (const FolderQuery& query : queries) {
      Connection connection;
      connection.Provider = "MSDAIPP.DSO";
      const Status opened = connection.Open(query.folder_url);
      results.push_back(std::to_string(opened.number()) + " " + std::to_string(connection.State()) + " " +
                        opened.description());
      if (!opened.ok()) continue;
      Recordset rows;
      const Status queried = OpenRecordset(rows, query.statement, connection);
      results.push_back(std::to_string(queried.number()) + " " + std::to_string(rows.rows().size()));
    }
    return results;
  };
  const std::vector<std::string> alone = outcomes(false);
  ASSERT_EQ(alone.size(), std::size(folders) + 1);
  EXPECT_EQ(outcomes(true), alone);
  EXPECT_EQ(alone.back(), "0 8");
  ConfigureStores(Settings("wrong"));
  const std::vector<std::string> refused = outcomes(false);
  EXPECT_EQ(outcomes(true), refused);
  for (std::size_t i = 0; i < std::size(folders); ++i) {
    const std::string& outcome = i + 1 < std::size(folders) ? alone[i] : refused[i];
    EXPECT_TRUE(outcome.starts_with(std::to_string(errors::kCannotOpenFolder) + " " +
                                    std::to_string(kStateClosed) + " "))
        << outcome;
    EXPECT_NE(outcome.find(folders[i].second), std::string::npos) << outcome;
  }
  auto provider = FindProvider("MSDAIPP.DSO");
  ConfigureStores(Settings(kPassword));
  EXPECT_TRUE((*provider)->ProbeService(base_url_).ok());
  EXPECT_EQ((*provider)->ProbeService(closed).number(), errors::kCannotOpenFolder);
}

TEST_F(CalDavStoreTest, ItemsTheServerCannotServeFailTheQueryCleanly) {
  // Another program dropped files into the calendar's storage behind the server's back; the
  // server answers with an error, whether the item is read by name or in a period.
  Connection connection = Open(FolderOf("dave"));
  const std::filesystem::path calendar =
      server_->storage() / "collection-root" / "exchange" / "dave" / "calendar";
  ASSERT_TRUE(std::filesystem::is_directory(calendar));
  const std::tuple<const char*, std::string, std::string> files[] = {
      {"undated.ics", Calendar("BEGIN:VEVENT\r\nUID:undated\r\nSUMMARY:Some day\r\nEND:VEVENT\r\n"),
       LoadQuery(FolderOf("dave"), "undated.ics")},  // an event without a start
      {"broken.ics", "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nno colon here\r\n",  // not iCalendar
       InScope(testing::kPeriodQuery, FolderOf("dave"))},
  };
  for (const auto& [name, text, statement] : files) {
    SCOPED_TRACE(name);
    std::ofstream(calendar / name) << text;
    Recordset rows;
    const Status queried = OpenRecordset(rows, statement, connection);
    EXPECT_EQ(queried.number(), errors::kCannotOpenFolder) << queried.description();
    EXPECT_FALSE(rows.IsOpen());
  }
}

TEST_F(CalDavStoreTest, RequestThreadsQueryAtTheSameTime) {
  const std::string statement = InScope(testing::kPeriodQuery, FolderOf("alice"));
  std::vector<std::size_t> counts(6);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < counts.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 3; ++round) {
        Connection connection = Open(FolderOf("alice"));
        counts[t] += Query(connection, statement).rows.size();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counts, std::vector<std::size_t>(counts.size(), 3 * 8));
}

// SendAll's answers are compared with Send's through the prefetched folders above; here, its bound.
TEST_F(CalDavStoreTest, SendAllHoldsNoMoreThanTheBatchMay) {
  const HttpRequest get{"GET", FolderOf("alice") + "inside.ics", "", "", {}};
  const std::size_t one = Send("GET", get.url).body.size();
  ASSERT_GT(one, 0u);
  // Room for one item and a half: the first is answered, the others refused.
  const auto bounded =
      SendAll({get, get, get}, StoreCredentials{kUser, kPassword}, 1, one + one / 2);
  ASSERT_EQ(bounded.size(), 3u);
  ASSERT_TRUE(bounded[0].ok()) << bounded[0].status().description();
  EXPECT_EQ(bounded[0]->body, Send("GET", get.url).body);
  for (std::size_t i = 1; i < bounded.size(); ++i) {
    EXPECT_EQ(bounded[i].status().number(), errors::kCannotOpenFolder);
    EXPECT_NE(bounded[i].status().description().find("in all"), std::string::npos);
  }
}

TEST_F(CalDavStoreTest, PrefetchedAnswersServeThisThreadsNextOpensAndQueriesOnce) {
  const std::string alice = InScope(testing::kPeriodQuery, FolderOf("alice"));
  const std::string bob = InScope(testing::kPeriodQuery, FolderOf("bob"));
  Connection fresh = Open(FolderOf("alice"));
  const Table expected = Query(fresh, alice);
  ASSERT_FALSE(expected.rows.empty());
  const auto refused = [](const Status& status) {
    return status.number() == errors::kCannotOpenFolder &&
           status.description().find("401") != std::string::npos;
  };
  {
    const PrefetchScope prefetch("MSDAIPP.DSO", {{FolderOf("alice"), alice},
                                                 {FolderOf("bob"), bob},
                                                 {FolderOf("dave"), bob}});
    // From here on the server refuses whatever this program sends: only what was fetched ahead
    // can succeed.
    ConfigureStores(Settings("wrong"));
    Connection connection = Open(FolderOf("alice"));
    EXPECT_EQ(Query(connection, alice).rows, expected.rows);

    // Another thread is asked afresh, and refused.
    Status elsewhere = Status::Ok();
    std::thread([&elsewhere] { elsewhere = TryOpen(FolderOf("bob")); }).join();
    EXPECT_TRUE(refused(elsewhere)) << elsewhere.description();

    // Each answer serves once.
    EXPECT_TRUE(refused(TryOpen(FolderOf("alice"))));
    Recordset rows;
    EXPECT_TRUE(refused(OpenRecordset(rows, alice, connection)));

    // A statement other than the one fetched for the folder goes to the server.
    Connection bobs = Open(FolderOf("bob"));
    std::string narrower = bob;
    narrower.replace(narrower.find("2003-10-25"), 10, "2003-10-26");
    EXPECT_TRUE(refused(OpenRecordset(rows, narrower, bobs)));
    EXPECT_TRUE(OpenRecordset(rows, bob, bobs).ok());

    // dave's folder was fetched for a statement naming bob's: its open is served, the statement
    // was never fetched.
    EXPECT_EQ(Open(FolderOf("dave")).State(), kStateOpen);
  }

  // Nothing fetched outlives its scope; switched off, the prefetch fetches nothing; the local
  // store and an unknown provider accept the list and change nothing.
  ConfigureStores(Settings(kPassword));
  { const PrefetchScope ended("MSDAIPP.DSO", {{FolderOf("alice"), alice}}); }
  SetCalDavPrefetch(false);
  const PrefetchScope off("MSDAIPP.DSO", {{FolderOf("alice"), alice}});
  SetCalDavPrefetch(true);
  const PrefetchScope local("ExOLEDB.DataSource", {{FolderOf("alice"), alice}});
  const PrefetchScope unknown("No.Such.Provider", {{FolderOf("alice"), alice}});
  ConfigureStores(Settings("wrong"));
  EXPECT_TRUE(refused(TryOpen(FolderOf("alice"))));
}

TEST(StoreCredentialsFile, ReadsTheUserAndPassword) {
  const std::filesystem::path folder = orbitel::testing::MakeTempFolder("orbitel-credentials");
  const auto read = [&folder](const std::string& text) {
    std::ofstream(folder / "credentials") << text;
    return ReadStoreCredentials((folder / "credentials").string());
  };
  auto good = read("# the service account\n\nUser: orbitel\r\npassword:  a:b c \n");
  ASSERT_TRUE(good.ok()) << good.status().description();
  EXPECT_EQ(good->user, "orbitel");
  EXPECT_EQ(good->password, "a:b c");
  for (const char* text : {"user: a\npassword: b\nuser: c\n", "user orbitel\n",
                           "password: only\n", "login: orbitel\n"}) {
    EXPECT_EQ(read(text).status().number(), errors::kSyntaxError) << text;
  }
  EXPECT_EQ(ReadStoreCredentials((folder / "missing").string()).status().number(),
            errors::kPathNotFound);
  std::filesystem::remove_all(folder);
}

TEST_F(CalDavStoreTest, TypedTextKeepsItsBlanksThroughTheServer) {
  Appointment typed;
  typed.Subject = "  Budget\treview ";
  typed.Location = " Room 7 ";
  typed.TextBody = "  first line\n\tsecond  ";
  typed.StartTime = Utc("2026-11-12T09:00:00");
  typed.EndTime = Utc("2026-11-12T10:00:00");
  ASSERT_TRUE(typed.DataSource().SaveToContainer(FolderOf("bob")).ok());
  Appointment read;
  ASSERT_TRUE(read.DataSource().Open(typed.DataSource().href()).ok());
  EXPECT_EQ(read.Subject, typed.Subject);
  EXPECT_EQ(read.Location, typed.Location);
  EXPECT_EQ(read.TextBody, typed.TextBody);
}

}  // namespace
}  // namespace orbitel::data
