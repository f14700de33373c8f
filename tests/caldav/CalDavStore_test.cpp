// What only the CalDAV store ("MSDAIPP.DSO") has to get right, against a real Radicale: folders
// and items the server cannot serve, and answers fetched ahead for a request. What both stores
// serve is in CalendarStores_test.
#include "caldav/CalDavStore.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <thread>
#include <tuple>

#include "StoreFixture.h"
#include "StoreQueries.h"
#include "caldav/CalDavClient.h"
#include "caldav/CalDavXml.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using namespace testing;

// Alice's calendar holds two appointments inside the pages' period; bob's and dave's are empty.
class CalDavStoreTest : public EitherStoreFixture {
 protected:
  CalDavStoreTest() : EitherStoreFixture(Store::kCalDav) {}
  void SetUp() override {
    EitherStoreFixture::SetUp();
    Fill({{"alice", Calendar(Event("inside", "DTSTART:20031104T140000Z\nDTEND:20031104T150000Z\n") +
                             Event("lunch", "DTSTART:20031105T140000Z\nDTEND:20031105T150000Z\n"))},
          {"bob", Calendar("")}, {"dave", Calendar("")}});
  }
};

// Answers a real server sends only when something between breaks them (cut short by a dropped
// connection, an error page in place of the multistatus): each is refused with the store's error
// naming what is wrong, never taken for a calendar with fewer items. A whole answer is read, a
// 404 propstat of the properties a server lacks not blanking the ones found.
TEST(CalDavAnswers, MalformedOrPartialMultistatusIsRefused) {
  const std::string response =
      "<d:response><d:href>/a/x.ics</d:href><d:propstat><d:prop><d:getetag>\"1\"</d:getetag>"
      "</d:prop><d:status>HTTP/1.1 200 OK</d:status></d:propstat><d:propstat><d:prop><d:getetag/>"
      "</d:prop><d:status>HTTP/1.1 404 Not Found</d:status></d:propstat></d:response>";
  const std::string whole = "<d:multistatus xmlns:d=\"DAV:\">" + response + response +
                            "<d:sync-token>t2</d:sync-token></d:multistatus>";
  const std::pair<std::string, const char*> answers[] = {
      {whole.substr(0, whole.size() / 2), "at byte"},
      {whole.substr(0, whole.find("<d:sync-token>")), "at byte"},  // cut after a whole response
      {"", "No document element"},
      {"<html><body>Bad Gateway</body></html>", "root element is <html>"},
      {"<multistatus><response><href>/a/x.ics</href></response></multistatus>", "root element"},
      {"<d:error xmlns:d=\"DAV:\"><d:valid-sync-token/></d:error>", "root element is <d:error>"},
      {"<d:multistatus xmlns:d=\"DAV:\"><d:response><d:status>HTTP/1.1 200 OK</d:status>"
       "</d:response></d:multistatus>", "names no href"},
  };
  for (const auto& [xml, reason] : answers) {
    SCOPED_TRACE(xml);
    for (const Status& status : {ParseMultistatus(xml).status(), ParseSyncAnswer(xml).status()}) {
      EXPECT_EQ(status.number(), errors::kCannotOpenFolder);
      EXPECT_NE(status.description().find(reason), std::string::npos) << status.description();
    }
  }
  // A sync answer must say which state it brings the calendar to.
  const std::string tokenless = whole.substr(0, whole.find("<d:sync-token>")) + "</d:multistatus>";
  ASSERT_TRUE(ParseMultistatus(tokenless).ok());
  EXPECT_NE(ParseSyncAnswer(tokenless).status().description().find("no sync token"), std::string::npos);
  auto sync = ParseSyncAnswer(whole);
  ASSERT_TRUE(sync.ok()) << sync.status().description();
  EXPECT_EQ(sync->sync_token, "t2");
  ASSERT_EQ(sync->resources.size(), 2u);
  EXPECT_EQ(sync->resources[0].etag, "\"1\"");
}

// Each folder fails to open with the store's error, the same when fetched ahead; so does the probe.
TEST_F(CalDavStoreTest, FoldersThatCannotBeReachedOrReadFailCleanlyPrefetchedOrNot) {
  const std::string closed = "http://127.0.0.1:" + std::to_string(FreePort()) + "/";
  const std::pair<std::string, const char*> folders[] = {
      {FolderOf("carol"), "404"}, {server_.base_url() + "exchange/alice/", "not a calendar"},
      {closed + "alice/calendar/", "cannot be reached"}, {"ftp://127.0.0.1/alice/calendar/", "not a CalDAV calendar"},
      {FolderOf("alice") + "has space/", ""},  // not a URL curl takes
      {FolderOf("alice"), "401"},              // with the wrong password
  };
  // "<number> <state> <message>" of each open; "<number> <rows>" of each folder that opens.
  const auto outcomes = [this, &folders](bool prefetching) {
    std::vector<FolderQuery> queries;
    for (const auto& [folder, reason] : folders) queries.push_back({folder, PeriodQuery(folder)});
    std::optional<PrefetchScope> prefetch;
    if (prefetching) prefetch.emplace(providers_, "MSDAIPP.DSO", queries);
    std::vector<std::string> results;
    for (const FolderQuery& query : queries) {
      Connection connection(providers_);
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
  EXPECT_EQ(alone.back(), "0 2");
  SignIn("wrong");
  const std::vector<std::string> refused = outcomes(false);
  EXPECT_EQ(outcomes(true), refused);
  for (std::size_t i = 0; i < std::size(folders); ++i) {
    const std::string& outcome = i + 1 < std::size(folders) ? alone[i] : refused[i];
    EXPECT_TRUE(outcome.starts_with(std::to_string(errors::kCannotOpenFolder) + " " +
                                    std::to_string(kStateClosed) + " "))
        << outcome;
    EXPECT_NE(outcome.find(folders[i].second), std::string::npos) << outcome;
  }
  SignIn(kPassword);
  auto provider = providers_.Find("MSDAIPP.DSO");
  EXPECT_TRUE((*provider)->ProbeService(server_.base_url()).ok());
  EXPECT_EQ((*provider)->ProbeService(closed).number(), errors::kCannotOpenFolder);
}

TEST_F(CalDavStoreTest, ItemsTheServerCannotServeFailTheQueryCleanly) {
  // Files dropped into the server's storage that it cannot serve, read by name or in a period.
  Connection connection = Connect("dave");
  const std::filesystem::path calendar = server_.storage() / "collection-root" / "exchange" / "dave" / "calendar";
  ASSERT_TRUE(std::filesystem::is_directory(calendar));
  const std::tuple<const char*, std::string, std::string> files[] = {
      {"undated.ics", Calendar("BEGIN:VEVENT\r\nUID:undated\r\nSUMMARY:Some day\r\nEND:VEVENT\r\n"),
       LoadQuery(FolderOf("dave"), "undated.ics")},  // an event without a start
      {"broken.ics", "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nno colon here\r\n",  // not iCalendar
       PeriodQuery(FolderOf("dave"))},
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

TEST_F(CalDavStoreTest, SendAllHoldsNoMoreThanTheBatchMay) {
  const HttpRequest get{"GET", FolderOf("alice") + "inside.ics", "", "", {}};
  const Result<HttpResponse> whole = CalDavClient(StoreCredentials{kUser, kPassword}).Send(get);
  ASSERT_TRUE(whole.ok() && !whole->body.empty());
  const std::size_t one = whole->body.size();
  // Room for one item and a half: the first is answered, the others refused.
  const auto bounded = SendAll({get, get, get}, StoreCredentials{kUser, kPassword}, 1, one + one / 2);
  ASSERT_EQ(bounded.size(), 3u);
  ASSERT_TRUE(bounded[0].ok()) << bounded[0].status().description();
  EXPECT_EQ(bounded[0]->body, whole->body);
  for (std::size_t i = 1; i < bounded.size(); ++i) {
    EXPECT_EQ(bounded[i].status().number(), errors::kCannotOpenFolder);
    EXPECT_NE(bounded[i].status().description().find("in all"), std::string::npos);
  }
}

TEST_F(CalDavStoreTest, PrefetchedAnswersServeThisThreadsNextOpensAndQueriesOnce) {
  const std::string alice = PeriodQuery(FolderOf("alice"));
  const std::string bob = PeriodQuery(FolderOf("bob"));
  Connection fresh = Connect("alice");
  Recordset expected, rows;
  ASSERT_TRUE(OpenRecordset(expected, alice, fresh).ok());
  ASSERT_FALSE(expected.rows().empty());
  const auto refused = [](const Status& status) {
    return status.number() == errors::kCannotOpenFolder && status.description().find("401") != std::string::npos;
  };
  const auto opens = [this](const char* account) {
    Connection connection(providers_);
    connection.Provider = "MSDAIPP.DSO";
    return connection.Open(FolderOf(account));
  };
  {
    const PrefetchScope prefetch(providers_, "MSDAIPP.DSO", {{FolderOf("alice"), alice}, {FolderOf("bob"), bob},
                                                 {FolderOf("dave"), bob}});
    // From here on the server refuses this program: only what was fetched ahead can succeed.
    SignIn("wrong");
    Connection connection = Connect("alice");
    ASSERT_TRUE(OpenRecordset(rows, alice, connection).ok());
    EXPECT_EQ(rows.rows(), expected.rows());

    // Another thread is asked afresh, and refused.
    Status elsewhere = Status::Ok();
    std::thread([&] { elsewhere = opens("bob"); }).join();
    EXPECT_TRUE(refused(elsewhere)) << elsewhere.description();

    // Each answer serves once.
    EXPECT_TRUE(refused(opens("alice")));
    EXPECT_TRUE(refused(OpenRecordset(rows, alice, connection)));

    // A statement other than the one fetched for the folder goes to the server.
    Connection bobs = Connect("bob");
    EXPECT_TRUE(refused(OpenRecordset(rows, PeriodQuery(FolderOf("bob"), "2003-10-26T13:00:01Z"), bobs)));
    EXPECT_TRUE(OpenRecordset(rows, bob, bobs).ok());

    // dave's folder was fetched for a statement naming bob's: its open is served, not the query.
    EXPECT_EQ(Connect("dave").State(), kStateOpen);
  }

  // Nothing fetched outlives its scope; switched off, the prefetch fetches nothing; the local
  // store and an unknown provider accept the list and change nothing.
  SignIn(kPassword);
  { const PrefetchScope ended(providers_, "MSDAIPP.DSO", {{FolderOf("alice"), alice}}); }
  StoreSettings switched_off{root_};
  switched_off.credentials = StoreCredentials{kUser, kPassword};
  switched_off.caldav_prefetch = false;
  const StoreProviders unfetching = testing::ProvidersFor(switched_off);
  const PrefetchScope off(unfetching, "MSDAIPP.DSO", {{FolderOf("alice"), alice}});
  const PrefetchScope local(providers_, "ExOLEDB.DataSource", {{FolderOf("alice"), alice}});
  const PrefetchScope unknown(providers_, "No.Such.Provider", {{FolderOf("alice"), alice}});
  SignIn("wrong");
  EXPECT_TRUE(refused(opens("alice")));
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
  EXPECT_EQ(ReadStoreCredentials((folder / "missing").string()).status().number(), errors::kPathNotFound);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace orbitel::data
