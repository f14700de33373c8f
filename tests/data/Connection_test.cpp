// Connections choose their store by name or URL, and a recordset lives only while its connection
// is open on its folder.
#include "data/Connection.h"

#include <gtest/gtest.h>

#include "data/StoreFixture.h"
#include "data/StoreQueries.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::kLocalFolder;
using testing::PeriodQuery;

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
    EXPECT_EQ(OpenRecordset(rows, PeriodQuery(), connection).number(), errors::kOperationOnClosedObject);
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

  // The delete page's query for O'Brien.ics with these columns, opened on its row.
  Recordset Opened(const std::string& columns) {
    Recordset rows;
    EXPECT_TRUE(OpenRecordset(rows, "SELECT " + columns + " " + testing::InFolder(kLocalFolder) +
                                        "(\"DAV:displayname\" = 'O''Brien.ics')", connection_).ok());
    EXPECT_TRUE(rows.MoveFirst().ok());
    return rows;
  }

  Connection connection_;
};

// The row is deleted by its href, through the connection it was opened on while that is open;
// the delete itself is checked with both stores in CalendarStores_test.
TEST_F(ConnectionLocalStore, DeletingARowNeedsItsHrefAndItsConnectionOpen) {
  Recordset without_href = Opened("\"urn:schemas:calendar:uid\"");
  EXPECT_EQ(without_href.Delete().number(), errors::kItemNotFoundInCollection);
  Recordset rows = Opened("\"DAV:href\"");
  connection_.Close();
  EXPECT_EQ(rows.Delete().number(), errors::kOperationOnClosedObject);
  ASSERT_TRUE(connection_.Open(kLocalFolder).ok());
  // A recordset of the earlier opening stays cut off from the reopened folder.
  EXPECT_EQ(rows.Delete().number(), errors::kOperationOnClosedObject);
  EXPECT_EQ(Opened("\"DAV:href\"").rows().size(), 1u);
}

TEST_F(ConnectionLocalStore, FailedOpensLeaveTheRecordsetClosed) {
  const std::string named = "SELECT \"DAV:href\" " + testing::InFolder(kLocalFolder);
  const std::pair<std::string, long> cases[] = {
      {named + "(\"DAV:displayname\" = 'O'Brien.ics')", errors::kSyntaxError},
      {"", errors::kSyntaxError},
      {named + "\"urn:x:nosuch\" = 1", errors::kItemNotFoundInCollection},
      {PeriodQuery(FolderUrlOf("orbitel.demo", "bob")), errors::kCannotOpenFolder},
  };
  for (const auto& [statement, number] : cases) {
    Recordset rows({{"x"}}, {{Value(1)}});
    EXPECT_EQ(OpenRecordset(rows, statement, connection_).number(), number) << statement;
    EXPECT_FALSE(rows.IsOpen());
  }
  // Opened again on bob's folder, the connection queries bob's folder only.
  ASSERT_TRUE(connection_.Open(FolderUrlOf("orbitel.demo", "bob")).ok());
  Recordset rows;
  EXPECT_EQ(OpenRecordset(rows, PeriodQuery(), connection_).number(), errors::kCannotOpenFolder);
  EXPECT_EQ(connection_.Open("file://./backofficestorage/orbitel.demo/MBX/carol/calendar/").number(),
            errors::kCannotOpenFolder);
  EXPECT_EQ(connection_.State(), kStateClosed);
}

}  // namespace
}  // namespace orbitel::data
