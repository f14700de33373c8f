// The CalDAV store ("MSDAIPP.DSO") against a real Radicale server that the suite starts on a free
// local port with its own configuration, accounts and storage folder, and stops at the end.
#include "data/CalDavStore.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
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
#include "data/StoreFixture.h"
#include "data/StoreQueries.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::Calendar;
using testing::Event;

constexpr char kUser[] = "orbitel";
constexpr char kPassword[] = "team:calendars";  // a colon, as basic authentication allows

Date Utc(const char* iso) { return *ParseIsoDate(iso); }

// A port on 127.0.0.1 that nothing listens on at the moment it is returned.
int FreePort() {
  const int socket_fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  int port = 0;
  if (::bind(socket_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      ::getsockname(socket_fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    port = ntohs(address.sin_port);
  }
  ::close(socket_fd);
  return port;
}

std::string FindOnPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::stringstream folders(path != nullptr ? path : "/usr/bin:/bin");
  std::string folder;
  while (std::getline(folders, folder, ':')) {
    const std::string candidate = folder + "/" + program;
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return {};
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

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
    startup_error_ = StartServer();
    if (!startup_error_.empty()) return;
    startup_error_ = CreateCalendars();
  }

  static void TearDownTestSuite() {
    StopServer();
    if (!folder_.empty()) std::filesystem::remove_all(folder_);
  }

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

  static inline std::filesystem::path folder_;
  static inline std::string base_url_;
  static inline std::string startup_error_;
  static inline pid_t server_ = -1;

 private:
  static std::string StartServer() {
    const std::string radicale = FindOnPath("radicale");
    if (radicale.empty()) {
      return "The CalDAV tests need a Radicale server, and radicale is not on the PATH; "
             "scripts/setup installs it";
    }
    folder_ = orbitel::testing::MakeTempFolder("orbitel-caldav");
    const int port = FreePort();
    if (port == 0) return "No free local port for Radicale";
    base_url_ = "http://127.0.0.1:" + std::to_string(port) + "/";
    std::ofstream(folder_ / "users") << kUser << ":" << kPassword << "\n";
    std::ofstream(folder_ / "config")
        << "[server]\nhosts = 127.0.0.1:" << port << "\n"
        << "[auth]\ntype = htpasswd\nhtpasswd_filename = " << (folder_ / "users").string()
        << "\nhtpasswd_encryption = plain\ndelay = 0\n"
        << "[rights]\ntype = authenticated\n"
        << "[storage]\nfilesystem_folder = " << (folder_ / "storage").string() << "\n"
        << "[web]\ntype = none\n"
        << "[logging]\nlevel = warning\n";
    const std::string config = (folder_ / "config").string();
    const std::string log = (folder_ / "radicale.log").string();

    server_ = ::fork();
    if (server_ < 0) return "Radicale could not be started: fork failed";
    if (server_ == 0) {
      // The server goes down with the test, however the test ends.
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      if (out >= 0) {
        ::dup2(out, STDOUT_FILENO);
        ::dup2(out, STDERR_FILENO);
      }
      ::execl(radicale.c_str(), radicale.c_str(), "--config", config.c_str(),
              static_cast<char*>(nullptr));
      ::_exit(127);
    }

    // Started once the server answers; a server that exits or never answers fails the suite.
    CalDavClient client(std::nullopt);
    for (int attempt = 0; attempt < 300; ++attempt) {
      int status = 0;
      if (::waitpid(server_, &status, WNOHANG) == server_) {
        server_ = -1;
        return "Radicale exited at start-up: " + ReadFile(log);
      }
      Result<HttpResponse> answer = client.Send(HttpRequest{"OPTIONS", base_url_, "", "", {}});
      if (answer.ok()) return {};
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    StopServer();
    return "Radicale did not answer on " + base_url_ + ": " + ReadFile(log);
  }

  static void StopServer() {
    if (server_ <= 0) return;
    ::kill(server_, SIGTERM);
    int status = 0;
    ::waitpid(server_, &status, 0);
    server_ = -1;
  }

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
      folder_ / "storage" / "collection-root" / "dave" / "calendar";
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
