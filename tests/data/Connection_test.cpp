#include "data/Connection.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/StoreFixture.h"
#include "data/StoreProvider.h"
#include "data/StoreQueries.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::kLocalFolder;
using testing::kPeriodQuery;

TEST(ConnectionProviders, FoundByNameInAnyCaseAndChosenByTheUrlsForm) {
  for (const char* name : {"exoledb.datasource", "MSDAIPP.DSO"}) EXPECT_TRUE(FindProvider(name).ok());
  for (const char* name : {"SQLOLEDB", "", "ExOLEDB.DataSource "}) {
    EXPECT_EQ(FindProvider(name).status().number(), errors::kProviderNotFound) << name;
  }
  const std::pair<const char*, const char*> urls[] = {
      {"FILE://./BackOfficeStorage/orbitel.demo/MBX/bob/calendar/", "ExOLEDB.DataSource"},
      {"HTTPS://mail/", "MSDAIPP.DSO"}, {"http://mail/exchange/alice/calendar/", "MSDAIPP.DSO"},
      {"file://./otherstorage/orbitel.demo/MBX/alice/calendar/", nullptr}, {"ftp://mail/alice/", nullptr},
  };
  for (const auto& [url, name] : urls) {
    auto provider = ProviderForUrl(url);
    if (name == nullptr) {
      EXPECT_EQ(provider.status().number(), errors::kCannotOpenFolder) << url;
    } else {
      EXPECT_EQ(provider.value_or(nullptr), *FindProvider(name)) << url;
    }
  }
}

TEST(ConnectionOpen, FailsWithTheProvidersStatusAndStaysClosed) {
  const std::pair<const char*, long> cases[] = {{"SQLOLEDB", errors::kProviderNotFound},
                                                {"MSDAIPP.DSO", errors::kCannotOpenFolder}};
  for (const auto& [provider, number] : cases) {
    Connection connection;
    connection.Provider = provider;
    EXPECT_EQ(connection.Open(kLocalFolder).number(), number);
    EXPECT_EQ(connection.State(), kStateClosed);
    Recordset rows({{"DAV:href"}}, {{Value("x")}});
    EXPECT_EQ(OpenRecordset(rows, kPeriodQuery, connection).number(), errors::kOperationOnClosedObject);
    EXPECT_FALSE(rows.IsOpen());
  }
}

// The local store behind a connection, as the delete page uses it.
class ConnectionLocalStore : public testing::StoreFixture {
 protected:
  void SetUp() override {
    StoreFixture::SetUp();
    Import("orbitel.demo", "alice",
           testing::Calendar(testing::Event("O'Brien", "DTSTART:20031105T140000Z\r\nDTEND:20031105T150000Z\r\n")));
    CreateMailbox("orbitel.demo", "bob");
    connection_.Provider = "ExOLEDB.DataSource";
    ASSERT_TRUE(connection_.Open(kLocalFolder).ok());
  }

  // The delete page's query for O'Brien.ics, with these columns.
  static std::string Named(const std::string& columns,
                           const std::string& where = "(\"DAV:displayname\" = 'O''Brien.ics')") {
    return "SELECT " + columns + " FROM scope('shallow traversal of \"" + kLocalFolder + "\"') WHERE " + where;
  }
  std::size_t Found() {
    Recordset rows;
    EXPECT_TRUE(OpenRecordset(rows, Named("\"DAV:href\""), connection_).ok());
    return rows.rows().size();
  }
  Recordset Opened(const std::string& columns) {
    Recordset rows;
    EXPECT_TRUE(OpenRecordset(rows, Named(columns), connection_).ok());
    EXPECT_TRUE(rows.MoveFirst().ok());
    return rows;
  }

  Connection connection_;
};

TEST_F(ConnectionLocalStore, DeletingARowRemovesItsItemOnlyWhileConnectedAndWithItsHref) {
  Recordset without_href = Opened("\"urn:schemas:calendar:uid\"");
  EXPECT_EQ(without_href.Delete().number(), errors::kItemNotFoundInCollection);
  Recordset rows = Opened("\"DAV:href\"");
  connection_.Close();
  EXPECT_EQ(rows.Delete().number(), errors::kOperationOnClosedObject);
  ASSERT_TRUE(connection_.Open(kLocalFolder).ok());
  // A recordset of the earlier opening stays cut off from the reopened folder.
  EXPECT_EQ(rows.Delete().number(), errors::kOperationOnClosedObject);
  EXPECT_EQ(Found(), 1u);
  rows = Opened("\"DAV:href\"");
  ASSERT_TRUE(rows.Delete().ok());
  ASSERT_TRUE(rows.Update().ok());
  EXPECT_EQ(Found(), 0u);
}

TEST_F(ConnectionLocalStore, FailedOpensLeaveTheRecordsetClosed) {
  std::string other_folder = kPeriodQuery;
  other_folder.replace(other_folder.find("/alice/"), 7, "/bob/");
  const std::pair<std::string, long> cases[] = {
      {Named("\"DAV:href\"", "(\"DAV:displayname\" = 'O'Brien.ics')"), errors::kSyntaxError},
      {"", errors::kSyntaxError},
      {Named("\"DAV:href\"", "\"urn:x:nosuch\" = 1"), errors::kItemNotFoundInCollection},
      {other_folder, errors::kCannotOpenFolder},
  };
  for (const auto& [statement, number] : cases) {
    Recordset rows({{"x"}}, {{Value(1)}});
    EXPECT_EQ(OpenRecordset(rows, statement, connection_).number(), number) << statement;
    EXPECT_FALSE(rows.IsOpen());
  }
  // Opened again on bob's folder, the connection queries bob's folder only.
  ASSERT_TRUE(connection_.Open(FolderUrlOf("orbitel.demo", "bob")).ok());
  Recordset rows;
  EXPECT_EQ(OpenRecordset(rows, kPeriodQuery, connection_).number(), errors::kCannotOpenFolder);
  EXPECT_EQ(connection_.Open("file://./backofficestorage/orbitel.demo/MBX/carol/calendar/").number(),
            errors::kCannotOpenFolder);
  EXPECT_EQ(connection_.State(), kStateClosed);
}

}  // namespace
}  // namespace orbitel::data
