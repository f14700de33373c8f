#include "data/Connection.h"

#include <gtest/gtest.h>

#include "data/StoreQueries.h"

#include <string>
#include <vector>

#include "data/StoreFixture.h"
#include "data/StoreProvider.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::kPeriodQuery;
using testing::kLocalFolder;

struct ProviderCase {
  const char* name;
  long number;  // 0: found
};

TEST(ConnectionProviders, FindsTheProvidersByNameInAnyCase) {
  const ProviderCase cases[] = {
      {"ExOLEDB.DataSource", 0}, {"exoledb.datasource", 0}, {"EXOLEDB.DATASOURCE", 0},
      {"MSDAIPP.DSO", 0},        {"msdaipp.dso", 0},        {"SQLOLEDB", errors::kProviderNotFound},
      {"", errors::kProviderNotFound}, {"ExOLEDB.DataSource ", errors::kProviderNotFound},
  };
  for (const ProviderCase& c : cases) {
    SCOPED_TRACE(c.name);
    auto provider = FindProvider(c.name);
    if (c.number == 0) {
      ASSERT_TRUE(provider.ok()) << provider.status().description();
      EXPECT_NE(*provider, nullptr);
    } else {
      EXPECT_EQ(provider.status().number(), c.number);
      EXPECT_EQ(provider.status().description(),
                "Provider cannot be found. It may not be properly installed.");
    }
  }
}

struct UrlCase {
  const char* url;
  enum { kLocal, kCalDav, kNone } served_by;
};

TEST(ConnectionProviders, ChoosesTheProviderByTheUrlsForm) {
  const UrlCase cases[] = {
      {kLocalFolder, UrlCase::kLocal},
      {"FILE://./BackOfficeStorage/orbitel.demo/MBX/bob/calendar/", UrlCase::kLocal},
      {"http://mail/exchange/alice/calendar/", UrlCase::kCalDav},
      {"https://mail/exchange/alice/calendar/", UrlCase::kCalDav},
      {"HTTPS://mail/", UrlCase::kCalDav},
      {"file://./otherstorage/orbitel.demo/MBX/alice/calendar/", UrlCase::kNone},
      {"ftp://mail/alice/", UrlCase::kNone},
      {"", UrlCase::kNone},
  };
  for (const UrlCase& c : cases) {
    SCOPED_TRACE(c.url);
    auto provider = ProviderForUrl(c.url);
    if (c.served_by == UrlCase::kNone) {
      EXPECT_EQ(provider.status().number(), errors::kCannotOpenFolder);
      continue;
    }
    ASSERT_TRUE(provider.ok()) << provider.status().description();
    // The providers are process-wide, so the one chosen is the very one its name finds.
    const char* name = c.served_by == UrlCase::kCalDav ? "MSDAIPP.DSO" : "ExOLEDB.DataSource";
    EXPECT_EQ(*provider, *FindProvider(name));
  }
}

TEST(ConnectionOpen, FailsWithTheProvidersStatusAndStaysClosed) {
  const ProviderCase cases[] = {
      {"SQLOLEDB", errors::kProviderNotFound},
      {"", errors::kProviderNotFound},
      {"MSDAIPP.DSO", errors::kCannotOpenFolder},
  };
  for (const ProviderCase& c : cases) {
    SCOPED_TRACE(c.name);
    Connection connection;
    connection.Provider = c.name;
    connection.Mode = 3;
    EXPECT_EQ(connection.Open(kLocalFolder).number(), c.number);
    EXPECT_EQ(connection.State(), kStateClosed);
    EXPECT_EQ(connection.folder(), nullptr);
  }
}

TEST(ConnectionRecordset, OpeningOnAClosedConnectionFails) {
  Connection connection;
  Recordset rows({{"DAV:href"}}, {{Value("x")}});
  const std::string statement = std::string("SELECT \"DAV:href\" FROM scope('shallow traversal of \"") +
                                kLocalFolder + "\"')";
  const Status status = OpenRecordset(rows, statement, connection);
  EXPECT_EQ(status.number(), errors::kOperationOnClosedObject);
  EXPECT_EQ(status.description(), "Operation is not allowed when the object is closed.");
  EXPECT_FALSE(rows.IsOpen());
  // Malformed text on a closed connection is still the closed connection's error.
  EXPECT_EQ(OpenRecordset(rows, "SELECT", connection).number(), errors::kOperationOnClosedObject);
}

using testing::Calendar;
using testing::Event;

// The local store behind a connection, as the team month view and the delete page use it.
class ConnectionLocalStore : public testing::StoreFixture {
 protected:
  void SetUp() override {
    StoreFixture::SetUp();
    Import("orbitel.demo", "alice",
           Calendar(Event("inside", "DTSTART:20031104T140000Z\r\nDTEND:20031104T150000Z\r\n"
                                    "SUMMARY:Review\r\nLOCATION:Room 1\r\n") +
                    Event("O'Brien", "DTSTART:20031105T140000Z\r\nDTEND:20031105T150000Z\r\n"
                                     "SUMMARY:Lunch\r\n") +
                    Event("starts-before", "DTSTART:20031025T120000Z\r\n"
                                           "DTEND:20031025T140000Z\r\nSUMMARY:Early\r\n") +
                    Event("after", "DTSTART:20031210T140000Z\r\nDTEND:20031210T150000Z\r\n"
                                   "SUMMARY:Late\r\n")));
    CreateMailbox("orbitel.demo", "bob");
    connection_.Provider = "ExOLEDB.DataSource";
    connection_.Mode = 3;
    ASSERT_TRUE(connection_.Open(kLocalFolder).ok());
  }

  std::vector<std::string> Column(const std::string& statement, const char* field) {
    Recordset rows;
    const Status opened = OpenRecordset(rows, statement, connection_);
    EXPECT_TRUE(opened.ok()) << opened.description();
    std::vector<std::string> values;
    for (Status at = rows.MoveFirst(); at.ok() && !rows.IsEOF(); at = rows.MoveNext()) {
      values.push_back(rows.Field(field)->Text());
    }
    return values;
  }

  Connection connection_;
};

std::string Scoped(const std::string& columns, const std::string& where) {
  return "SELECT " + columns + " FROM scope('shallow traversal of \"" + kLocalFolder + "\"') " +
         where;
}

const char kDeleteWhere[] = "WHERE (\"DAV:displayname\" = 'O''Brien.ics')";

TEST_F(ConnectionLocalStore, ThePeriodQueryReturnsTheItemsWhollyInside) {
  EXPECT_EQ(connection_.State(), kStateOpen);
  Recordset rows;
  ASSERT_TRUE(OpenRecordset(rows, kPeriodQuery, connection_).ok());
  std::vector<std::string> names;
  for (const FieldInfo& field : rows.fields()) names.push_back(field.name);
  EXPECT_EQ(names, (std::vector<std::string>{
                       "DAV:href", "urn:schemas:httpmail:subject",
                       "urn:schemas:calendar:alldayevent", "urn:schemas:calendar:location",
                       "urn:schemas:calendar:dtstart", "urn:schemas:calendar:dtend",
                       "urn:schemas:calendar:uid"}));
  EXPECT_EQ(Column(kPeriodQuery, "urn:schemas:calendar:uid"),
            (std::vector<std::string>{"inside", "O'Brien"}));
  ASSERT_TRUE(rows.MoveFirst().ok());
  EXPECT_EQ(*rows.Field("urn:schemas:calendar:dtstart"), Value(Utc("2003-11-04T14:00:00Z")));
  EXPECT_EQ(rows.Field("urn:schemas:calendar:location")->Text(), "Room 1");
  EXPECT_EQ(rows.Field("DAV:href")->Text(), std::string(kLocalFolder) + "inside.ics");
}

TEST_F(ConnectionLocalStore, DeletingARowRemovesItsItem) {
  Recordset rows;
  ASSERT_TRUE(OpenRecordset(rows, Scoped("\"DAV:href\",  \"urn:schemas:calendar:uid\"",
                                         kDeleteWhere),
                            connection_)
                  .ok());
  ASSERT_TRUE(rows.MoveFirst().ok());
  ASSERT_TRUE(rows.Delete().ok());
  ASSERT_TRUE(rows.Update().ok());
  EXPECT_TRUE(rows.MoveNext().ok());
  EXPECT_TRUE(rows.IsEOF());
  EXPECT_EQ(Column(kPeriodQuery, "urn:schemas:calendar:uid"),
            (std::vector<std::string>{"inside"}));
}

TEST_F(ConnectionLocalStore, ARowCannotBeDeletedOnceTheConnectionIsClosed) {
  Recordset rows;
  ASSERT_TRUE(OpenRecordset(rows, Scoped("\"DAV:href\"", kDeleteWhere), connection_).ok());
  ASSERT_TRUE(rows.MoveFirst().ok());
  connection_.Close();
  EXPECT_EQ(connection_.State(), kStateClosed);
  EXPECT_EQ(rows.Delete().number(), errors::kOperationOnClosedObject);
  EXPECT_EQ(rows.rows().size(), 1u);
  ASSERT_TRUE(connection_.Open(kLocalFolder).ok());
  // A recordset of the earlier opening stays cut off from the reopened folder.
  EXPECT_EQ(rows.Delete().number(), errors::kOperationOnClosedObject);
  EXPECT_EQ(Column(Scoped("\"DAV:href\"", kDeleteWhere), "DAV:href").size(), 1u);
}

TEST_F(ConnectionLocalStore, WithoutAnHrefColumnARowIsNotDeleted) {
  Recordset rows;
  ASSERT_TRUE(OpenRecordset(rows, Scoped("\"urn:schemas:calendar:uid\"", kDeleteWhere),
                            connection_)
                  .ok());
  ASSERT_TRUE(rows.MoveFirst().ok());
  EXPECT_EQ(rows.Delete().number(), errors::kItemNotFoundInCollection);
  EXPECT_EQ(Column(Scoped("\"DAV:href\"", kDeleteWhere), "DAV:href").size(), 1u);
}

TEST_F(ConnectionLocalStore, FailedOpensLeaveTheRecordsetClosed) {
  struct Case {
    const char* name;
    std::string statement;
    long number;
  };
  std::string other_folder = kPeriodQuery;
  other_folder.replace(other_folder.find("/alice/"), 7, "/bob/");
  const Case cases[] = {
      {"unescaped apostrophe", Scoped("\"DAV:href\"", "WHERE (\"DAV:displayname\" = 'O'Brien.ics')"),
       errors::kSyntaxError},
      {"no statement", "", errors::kSyntaxError},
      {"unknown property in WHERE", Scoped("\"DAV:href\"", "WHERE \"urn:x:nosuch\" = 1"),
       errors::kItemNotFoundInCollection},
      {"scope of another folder", other_folder, errors::kCannotOpenFolder},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Recordset rows({{"x"}}, {{Value(1)}});
    EXPECT_EQ(OpenRecordset(rows, c.statement, connection_).number(), c.number);
    EXPECT_FALSE(rows.IsOpen());
  }
}

TEST_F(ConnectionLocalStore, OpeningAgainMovesToTheNewFolder) {
  ASSERT_TRUE(connection_.Open(FolderUrlOf("orbitel.demo", "bob")).ok());
  Recordset rows;
  EXPECT_EQ(OpenRecordset(rows, kPeriodQuery, connection_).number(), errors::kCannotOpenFolder);
  EXPECT_EQ(connection_.Open("file://./backofficestorage/orbitel.demo/MBX/carol/calendar/").number(),
            errors::kCannotOpenFolder);
  EXPECT_EQ(connection_.State(), kStateClosed);
}

}  // namespace
}  // namespace orbitel::data
