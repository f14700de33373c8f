// The CalDAV store ("MSDAIPP.DSO") against a real Radicale server that the suite starts on a free
// local port with its own configuration, accounts and storage folder, and stops at the end.
#include "data/CalDavStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "TempFolder.h"
#include "data/Appointment.h"
#include "data/CalDavClient.h"
#include "data/CalDavXml.h"
#include "data/Connection.h"
#include "data/IsoDate.h"
#include "data/LocalStoreDatabase.h"
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
  const std::size_t end = statement.find('"', start);
  return statement.replace(start, end - start, folder);
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

class CalDavStoreTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    setenv("TZ", "America/New_York", 1);
    tzset();
    server_ = std::make_unique<RadicaleServer>();
    startup_error_ = server_->Start(kUser, kPassword);
    if (!startup_error_.empty()) return;
    base_url_ = server_->base_url();
    startup_error_ = CreateCalendars();
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
    return base_url_ + account + "/calendar/";
  }

  // A request as another client of the server would send it, signed in with the store account.
  static HttpResponse Send(const std::string& method, const std::string& url,
                           const std::string& body = "", std::vector<std::string> headers = {}) {
    CalDavClient client(StoreCredentials{kUser, kPassword});
    Result<HttpResponse> response =
        client.Send(HttpRequest{method, url, body, "text/calendar", std::move(headers)});
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
    connection.Mode = 3;
    const Status opened = connection.Open(url);
    EXPECT_TRUE(opened.ok()) << opened.description();
    return connection;
  }

  static inline std::unique_ptr<RadicaleServer> server_;
  static inline std::string base_url_;
  static inline std::string startup_error_;

 private:
  static std::string CreateCalendars() {
    for (const char* account : {"alice", "bob", "dave"}) {
      if (Send("MKCOL", base_url_ + account + "/").status != 201 ||
          Send("MKCALENDAR", FolderOf(account)).status != 201) {
        return std::string("Radicale did not create the calendar of ") + account;
      }
    }
    const std::pair<const char*, std::string> items[] = {
        {"inside", Event("inside", "DTSTART:20031104T140000Z\r\nDTEND:20031104T150000Z\r\n"
                                   "SUMMARY:Review\r\nLOCATION:Room 1\r\n")},
        {"O'Brien", Event("O'Brien", "DTSTART:20031105T140000Z\r\nDTEND:20031105T150000Z\r\n"
                                     "SUMMARY:Lunch\r\nDESCRIPTION:Bring the menu\r\n")},
        {"holiday", Event("holiday", "DTSTART;VALUE=DATE:20031127\r\nDTEND;VALUE=DATE:20031128\r\n"
                                     "SUMMARY:Thanksgiving\r\n")},
        {"weekly", Event("weekly", "DTSTART:20031020T150000Z\r\nDTEND:20031020T160000Z\r\n"
                                   "RRULE:FREQ=WEEKLY;COUNT=8\r\nEXDATE:20031110T150000Z\r\n"
                                   "SUMMARY:Standup\r\n") +
                       Event("weekly", "RECURRENCE-ID:20031117T150000Z\r\n"
                                       "DTSTART:20031118T170000Z\r\nDTEND:20031118T180000Z\r\n"
                                       "SUMMARY:Standup (moved)\r\n")},
        {"private", Event("private", "DTSTART:20031106T140000Z\r\nDTEND:20031106T150000Z\r\n"
                                     "SUMMARY:Doctor\r\nCLASS:PRIVATE\r\n")},
        {"free", Event("free", "DTSTART:20031107T140000Z\r\nDTEND:20031107T150000Z\r\n"
                               "SUMMARY:Optional\r\nTRANSP:TRANSPARENT\r\n")},
        {"starts-before", Event("starts-before", "DTSTART:20031025T120000Z\r\n"
                                                 "DTEND:20031025T140000Z\r\nSUMMARY:Early\r\n")},
        {"after", Event("after", "DTSTART:20031210T140000Z\r\nDTEND:20031210T150000Z\r\n"
                                 "SUMMARY:Late\r\n")},
    };
    for (const auto& [name, events] : items) {
      const long status =
          Send("PUT", FolderOf("alice") + name + ".ics", Calendar(events)).status;
      if (status != 201) {
        return std::string("Radicale did not store ") + name + ": HTTP " + std::to_string(status);
      }
    }
    return {};
  }
};

using Row = std::pair<std::string, Value>;

std::vector<Row> Sorted(const Table& table, const std::string& field) {
  std::vector<Row> rows;
  for (std::size_t i = 0; i < table.rows.size(); ++i) {
    rows.emplace_back(table.At(i, "urn:schemas:calendar:uid").Text(), table.At(i, field));
  }
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
    return a.second.AsDate() && b.second.AsDate() &&
                   a.second.AsDate()->serial() != b.second.AsDate()->serial()
               ? a.second.AsDate()->serial() < b.second.AsDate()->serial()
               : a.first < b.first;
  });
  return rows;
}

TEST_F(CalDavStoreTest, ThePeriodQueryReturnsEveryKindOfItemInsideTheWindowOnly) {
  Connection connection = Open(FolderOf("alice"));
  const std::string statement = InScope(testing::kPeriodQuery, FolderOf("alice"));
  const Table table = Query(connection, statement);
  // Timed, all-day and the series' occurrences: the excluded one missing, the moved one at its
  // new time, the first and last outside the window; private and free items filtered out.
  EXPECT_EQ(Sorted(table, "urn:schemas:calendar:dtstart"),
            (std::vector<Row>{{"weekly", Value(Utc("2003-10-27T15:00:00Z"))},
                              {"weekly", Value(Utc("2003-11-03T15:00:00Z"))},
                              {"inside", Value(Utc("2003-11-04T14:00:00Z"))},
                              {"O'Brien", Value(Utc("2003-11-05T14:00:00Z"))},
                              {"weekly", Value(Utc("2003-11-18T17:00:00Z"))},
                              {"weekly", Value(Utc("2003-11-24T15:00:00Z"))},
                              {"holiday", Value(Utc("2003-11-27T05:00:00Z"))},
                              {"weekly", Value(Utc("2003-12-01T15:00:00Z"))}}));
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
  std::vector<Row> ids;
  for (const Row& row : Sorted(Query(connection, with_ids), "urn:schemas:calendar:recurrenceid")) {
    if (row.first == "weekly") ids.push_back(row);
  }
  EXPECT_EQ(ids, (std::vector<Row>{{"weekly", Value(Utc("2003-10-27T15:00:00Z"))},
                                   {"weekly", Value(Utc("2003-11-03T15:00:00Z"))},
                                   {"weekly", Value(Utc("2003-11-17T15:00:00Z"))},
                                   {"weekly", Value(Utc("2003-11-24T15:00:00Z"))},
                                   {"weekly", Value(Utc("2003-12-01T15:00:00Z"))}}));
}

TEST_F(CalDavStoreTest, TheLoadQueryReadsTheOneItemOfThatName) {
  Connection connection = Open(FolderOf("alice"));
  const Table table = Query(connection, InScope(testing::kLoadQuery, FolderOf("alice")));
  ASSERT_EQ(table.rows.size(), 1u);
  EXPECT_EQ(table.At(0, "DAV:displayname").Text(), "O'Brien.ics");
  EXPECT_EQ(table.At(0, "DAV:href").Text(), FolderOf("alice") + "O'Brien.ics");
  EXPECT_EQ(table.At(0, "urn:schemas:httpmail:subject").Text(), "Lunch");
  EXPECT_EQ(table.At(0, "urn:schemas:httpmail:textdescription").Text(), "Bring the menu");
  EXPECT_EQ(table.At(0, "urn:schemas:calendar:busystatus").Text(), "BUSY");
  EXPECT_TRUE(table.At(0, "urn:schemas:calendar:recurrenceid").IsEmpty());

  // A name that is not there is no row, not an error; a series by name is all its occurrences.
  std::string missing = InScope(testing::kLoadQuery, FolderOf("alice"));
  missing.replace(missing.find("O''Brien.ics"), 12, "nobody.ics");
  EXPECT_TRUE(Query(connection, missing).rows.empty());
  std::string series = missing;
  series.replace(series.find("nobody.ics"), 10, "weekly.ics");
  EXPECT_EQ(Query(connection, series).rows.size(), 7u);
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
  EXPECT_NE(Send("GET", href).body.find("LOCATION:Room 9"), std::string::npos);

  // Someone else changes the item between opening and saving: the save fails and their change
  // stays.
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

  // Opened afresh, the item saves again.
  ASSERT_TRUE(stale.DataSource().Open(href).ok());
  stale.Location = "Room 1";
  EXPECT_TRUE(stale.DataSource().Save().ok());

  Appointment nothing;
  EXPECT_EQ(nothing.DataSource().Open(FolderOf("bob") + "nosuch.ics").number(),
            errors::kCannotOpenFolder);
}

TEST_F(CalDavStoreTest, DeletingARowOfTheDeleteQueryRemovesTheItem) {
  ASSERT_EQ(Send("PUT", FolderOf("bob") + "O'Brien.ics",
                 Calendar(Event("O'Brien", "DTSTART:20031105T140000Z\r\n"
                                           "DTEND:20031105T150000Z\r\nSUMMARY:Lunch\r\n")))
                .status,
            201);
  Connection connection = Open(FolderOf("bob"));
  const std::string statement = InScope(testing::kDeleteQuery, FolderOf("bob"));
  Recordset rows;
  ASSERT_TRUE(OpenRecordset(rows, statement, connection).ok());
  ASSERT_TRUE(rows.MoveFirst().ok());
  ASSERT_TRUE(rows.Delete().ok());
  ASSERT_TRUE(rows.Update().ok());
  EXPECT_TRUE(Query(connection, statement).rows.empty());
  EXPECT_EQ(Send("GET", FolderOf("bob") + "O'Brien.ics").status, 404);
  // Gone already: a second removal is the store's "cannot open" error.
  EXPECT_EQ(connection.folder()->DeleteItem(FolderOf("bob") + "O'Brien.ics").number(),
            errors::kCannotOpenFolder);
  // Alice's item of the same name is untouched.
  EXPECT_EQ(Send("GET", FolderOf("alice") + "O'Brien.ics").status, 200);
}

TEST_F(CalDavStoreTest, FoldersThatCannotBeReachedOrReadFailCleanly) {
  struct Case {
    const char* name;
    std::string url;
    std::string password;
    const char* reason;  // a part of the description
  };
  const Case cases[] = {
      {"missing collection", FolderOf("carol"), kPassword, "404"},
      {"not a calendar", base_url_ + "alice/", kPassword, "not a calendar"},
      {"wrong password", FolderOf("alice"), "wrong", "401"},
      {"refused port", "http://127.0.0.1:" + std::to_string(FreePort()) + "/alice/calendar/",
       kPassword, "cannot be reached"},
      {"not http", "ftp://127.0.0.1/alice/calendar/", kPassword, "not a CalDAV calendar"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ConfigureStores(Settings(c.password));
    Connection connection;
    connection.Provider = "MSDAIPP.DSO";
    const Status opened = connection.Open(c.url);
    EXPECT_EQ(opened.number(), errors::kCannotOpenFolder);
    EXPECT_NE(opened.description().find(c.reason), std::string::npos) << opened.description();
    EXPECT_EQ(connection.State(), kStateClosed);
  }
}

TEST_F(CalDavStoreTest, ItemsTheServerCannotServeFailTheQueryCleanly) {
  // Another program dropped files into the calendar's storage behind the server's back; the
  // server answers with an error, whether the item is read by name or in a period.
  Connection connection = Open(FolderOf("dave"));
  const std::filesystem::path calendar =
      server_->storage() / "collection-root" / "dave" / "calendar";
  ASSERT_TRUE(std::filesystem::is_directory(calendar));

  // An event without a start.
  std::ofstream(calendar / "undated.ics")
      << Calendar("BEGIN:VEVENT\r\nUID:undated\r\nSUMMARY:Some day\r\nEND:VEVENT\r\n");
  std::string by_name = InScope(testing::kLoadQuery, FolderOf("dave"));
  by_name.replace(by_name.find("O''Brien.ics"), 12, "undated.ics");
  Recordset rows;
  Status queried = OpenRecordset(rows, by_name, connection);
  EXPECT_EQ(queried.number(), errors::kCannotOpenFolder) << queried.description();
  EXPECT_FALSE(rows.IsOpen());

  // Text that is not iCalendar at all.
  std::ofstream(calendar / "broken.ics") << "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nno colon here\r\n";
  queried = OpenRecordset(rows, InScope(testing::kPeriodQuery, FolderOf("dave")), connection);
  EXPECT_EQ(queried.number(), errors::kCannotOpenFolder) << queried.description();
  EXPECT_FALSE(rows.IsOpen());
}

TEST_F(CalDavStoreTest, TheServiceProbeAsksForCalendarAccess) {
  auto provider = FindProvider("MSDAIPP.DSO");
  ASSERT_TRUE(provider.ok());
  EXPECT_TRUE((*provider)->ProbeService(base_url_).ok());
  const Status closed =
      (*provider)->ProbeService("http://127.0.0.1:" + std::to_string(FreePort()) + "/");
  EXPECT_EQ(closed.number(), errors::kCannotOpenFolder);
}

TEST_F(CalDavStoreTest, RequestThreadsQueryAtTheSameTime) {
  const std::string statement = InScope(testing::kPeriodQuery, FolderOf("alice"));
  std::vector<std::size_t> counts(6);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < counts.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 3; ++round) {
        Connection connection;
        connection.Provider = "MSDAIPP.DSO";
        Recordset rows;
        if (connection.Open(FolderOf("alice")).ok() &&
            OpenRecordset(rows, statement, connection).ok()) {
          counts[t] += rows.rows().size();
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counts, std::vector<std::size_t>(counts.size(), 3 * 8));
}

TEST_F(CalDavStoreTest, SendAllAnswersEveryRequestAsSendWouldInTheirOrder) {
  // More requests than may be in flight, of every kind of outcome: an answer, an HTTP error, a
  // refused connection and a URL that is not http.
  const std::string refused = "http://127.0.0.1:" + std::to_string(FreePort()) + "/";
  std::vector<HttpRequest> requests;
  for (int round = 0; round < 4; ++round) {
    requests.push_back({"GET", FolderOf("alice") + "inside.ics", "", "", {}});
    requests.push_back({"PROPFIND", FolderOf("alice"), ResourceTypeRequest(),
                        "application/xml", {"Depth: 0"}});
    requests.push_back({"GET", FolderOf("alice") + "nosuch.ics", "", "", {}});
    requests.push_back({"GET", refused, "", "", {}});
    requests.push_back({"GET", "ftp://127.0.0.1/alice/calendar/", "", "", {}});
  }
  const std::vector<Result<HttpResponse>> answers =
      SendAll(requests, StoreCredentials{kUser, kPassword}, 3, 64u << 20);
  ASSERT_EQ(answers.size(), requests.size());
  CalDavClient client(StoreCredentials{kUser, kPassword});
  for (std::size_t i = 0; i < requests.size(); ++i) {
    SCOPED_TRACE(requests[i].method + " " + requests[i].url);
    const Result<HttpResponse> alone = client.Send(requests[i]);
    ASSERT_EQ(answers[i].ok(), alone.ok()) << answers[i].status().description();
    if (!alone.ok()) {
      EXPECT_EQ(answers[i].status().number(), alone.status().number());
      continue;
    }
    EXPECT_EQ(answers[i]->status, alone->status);
    EXPECT_EQ(answers[i]->body, alone->body);
    EXPECT_EQ(answers[i]->etag, alone->etag);
  }
  EXPECT_EQ(answers[0]->status, 200);
  EXPECT_EQ(answers[1]->status, 207);
  EXPECT_EQ(answers[2]->status, 404);

  // Without credentials the server refuses each one, as it would refuse Send.
  const auto anonymous = SendAll({requests[0], requests[1]}, std::nullopt, 16, 64u << 20);
  ASSERT_EQ(anonymous.size(), 2u);
  EXPECT_EQ(anonymous[0]->status, 401);
  EXPECT_EQ(anonymous[1]->status, 401);
  EXPECT_TRUE(SendAll({}, std::nullopt, 16, 64u << 20).empty());

  // The answers hold no more than the batch may: room for one item, and the second is refused.
  const std::size_t one = answers[0]->body.size();
  const auto bounded = SendAll({requests[0], requests[0], requests[0]},
                               StoreCredentials{kUser, kPassword}, 1, one + one / 2);
  ASSERT_EQ(bounded.size(), 3u);
  ASSERT_TRUE(bounded[0].ok()) << bounded[0].status().description();
  EXPECT_EQ(bounded[0]->body, answers[0]->body);
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
    const Table table = Query(connection, alice);
    EXPECT_EQ(table.rows, expected.rows);

    // Another thread is asked afresh, and refused.
    Status elsewhere = Status::Ok();
    std::thread([&elsewhere, this] {
      Connection other;
      other.Provider = "MSDAIPP.DSO";
      elsewhere = other.Open(FolderOf("bob"));
    }).join();
    EXPECT_TRUE(refused(elsewhere)) << elsewhere.description();

    // Each answer serves once.
    Connection again;
    again.Provider = "MSDAIPP.DSO";
    EXPECT_TRUE(refused(again.Open(FolderOf("alice"))));
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
    Connection daves = Open(FolderOf("dave"));
    EXPECT_TRUE(daves.State() == kStateOpen);
  }

  // Nothing fetched outlives its scope.
  ConfigureStores(Settings(kPassword));
  {
    const PrefetchScope prefetch("MSDAIPP.DSO", {{FolderOf("alice"), alice}});
    ConfigureStores(Settings("wrong"));
  }
  Connection after;
  after.Provider = "MSDAIPP.DSO";
  EXPECT_TRUE(refused(after.Open(FolderOf("alice"))));

  // Switched off, the prefetch fetches nothing.
  ConfigureStores(Settings(kPassword));
  SetCalDavPrefetch(false);
  {
    const PrefetchScope prefetch("MSDAIPP.DSO", {{FolderOf("alice"), alice}});
    ConfigureStores(Settings("wrong"));
    EXPECT_TRUE(refused(after.Open(FolderOf("alice"))));
  }
  SetCalDavPrefetch(true);

  // The local store and an unknown provider accept the list and change nothing.
  const PrefetchScope local("ExOLEDB.DataSource", {{FolderOf("alice"), alice}});
  const PrefetchScope unknown("No.Such.Provider", {{FolderOf("alice"), alice}});
  EXPECT_TRUE(refused(after.Open(FolderOf("alice"))));
}

TEST_F(CalDavStoreTest, FailuresWhilePrefetchingAreTheCallsOwnFailures) {
  const std::string refused_port =
      "http://127.0.0.1:" + std::to_string(FreePort()) + "/alice/calendar/";
  const std::vector<std::string> folders = {
      FolderOf("carol"),                    // missing
      base_url_ + "alice/",                 // not a calendar
      refused_port,                         // nobody listening
      "ftp://127.0.0.1/alice/calendar/",    // not http
      FolderOf("alice") + "has space/",     // not a URL curl takes
      FolderOf("alice"),                    // the one that works
  };
  // What each folder's open and period query give, with and without the prefetch.
  const auto outcomes = [&folders](bool prefetching) {
    std::vector<FolderQuery> queries;
    for (const std::string& folder : folders) {
      queries.push_back({folder, InScope(testing::kPeriodQuery, folder)});
    }
    std::optional<PrefetchScope> prefetch;
    if (prefetching) prefetch.emplace("MSDAIPP.DSO", queries);
    std::vector<std::string> results;
    for (const FolderQuery& query : queries) {
      Connection connection;
      connection.Provider = "MSDAIPP.DSO";
      const Status opened = connection.Open(query.folder_url);
      results.push_back(std::to_string(opened.number()) + " " + opened.description());
      if (!opened.ok()) continue;
      Recordset rows;
      const Status queried = OpenRecordset(rows, query.statement, connection);
      results.push_back(std::to_string(queried.number()) + " " + queried.description() + " " +
                        std::to_string(rows.rows().size()) + " rows");
    }
    return results;
  };
  const std::vector<std::string> alone = outcomes(false);
  ASSERT_EQ(alone.size(), folders.size() + 1);
  EXPECT_EQ(outcomes(true), alone);
  ConfigureStores(Settings("wrong"));
  EXPECT_EQ(outcomes(true), outcomes(false));
}

TEST(CalDavMultistatus, ReadsPropertiesWhateverThePrefixesAndRejectsOtherText) {
  auto resources = ParseMultistatus(
      "<x:multistatus xmlns:x='DAV:' xmlns:c='urn:ietf:params:xml:ns:caldav'>"
      "<x:response><x:href>/a/calendar/O%27Brien.ics</x:href>"
      "<x:propstat><x:prop><x:getetag>\"1\"</x:getetag><c:calendar-data>BEGIN:VCALENDAR"
      "</c:calendar-data></x:prop><x:status>HTTP/1.1 200 OK</x:status></x:propstat>"
      "<x:propstat><x:prop><x:resourcetype/></x:prop><x:status>HTTP/1.1 404 Not Found</x:status>"
      "</x:propstat></x:response>"
      "<x:response><x:href>/a/calendar/gone.ics</x:href><x:status>HTTP/1.1 404 Not Found"
      "</x:status></x:response></x:multistatus>");
  ASSERT_TRUE(resources.ok()) << resources.status().description();
  ASSERT_EQ(resources->size(), 2u);
  EXPECT_EQ((*resources)[0].etag, "\"1\"");
  EXPECT_EQ((*resources)[0].calendar_data, "BEGIN:VCALENDAR");
  EXPECT_EQ((*resources)[1].status, 404);

  for (const char* text : {"", "<multistatus xmlns='DAV:'><response>", "<html>oops</html>",
                           "<multistatus xmlns='urn:other'/>",
                           "<multistatus xmlns='DAV:'><response/></multistatus>"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(ParseMultistatus(text).status().number(), errors::kCannotOpenFolder);
  }
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
  EXPECT_EQ(read("user: a\npassword: b\nuser: c\n").status().number(), errors::kSyntaxError);
  EXPECT_EQ(read("user orbitel\n").status().number(), errors::kSyntaxError);
  EXPECT_EQ(read("password: only\n").status().number(), errors::kSyntaxError);
  EXPECT_EQ(read("user: orbitel\n").status().number(), errors::kSyntaxError);
  EXPECT_EQ(read("login: orbitel\n").status().number(), errors::kSyntaxError);
  EXPECT_EQ(ReadStoreCredentials((folder / "missing").string()).status().number(),
            errors::kPathNotFound);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace orbitel::data
