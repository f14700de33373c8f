#pragma once
// The calendar stores the tests fill: a local store in a fresh temporary root, or beside it the
// CalDAV store on a real Radicale the test starts. The zone is America/New_York, so local-time
// rules (all-day midnights, floating times, daylight-saving changes) give known UTC values.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <ostream>

#include "TempFolder.h"
#include "data/Connection.h"
#include "data/ICalendar.h"
#include "data/IsoDate.h"
#include "data/LocalStoreDatabase.h"
#include "data/RadicaleServer.h"
#include "data/StoreProvider.h"
#include "data/StoreUrl.h"

namespace orbitel::data::testing {

// A calendar of the given VEVENT bodies (each a block of content lines).
inline std::string Calendar(const std::string& events) {
  return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//test//EN\r\n" + events + "END:VCALENDAR\r\n";
}

inline std::string Event(const std::string& uid, const std::string& lines) {
  return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTAMP:20260101T000000Z\r\n" + lines + "END:VEVENT\r\n";
}

// Each account's local mailbox under root, holding the calendar text as the store command imports.
inline void FillMailboxes(const std::string& root, const std::string& domain,
                          const std::vector<std::pair<std::string, std::string>>& calendars) {
  auto database = LocalStoreDatabase::OpenOrCreate(root, domain);
  ASSERT_TRUE(database.ok()) << database.status().description();
  for (const auto& [account, ics] : calendars) {
    auto folder = (*database)->CreateMailbox(account);
    ASSERT_TRUE(folder.ok()) << folder.status().description();
    auto items = ParseCalendar(ics);
    ASSERT_TRUE(items.ok()) << items.status().description();
    for (const CalendarItem& item : *items) {
      ASSERT_TRUE((*database)->Put(*folder, ItemNameOf(item.uid), item.ics).ok());
    }
  }
}

class StoreFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "America/New_York", 1);
    tzset();
    root_ = orbitel::testing::MakeTempFolder("orbitel-store").string();
    ConfigureStores(StoreSettings{root_});
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  // The account's mailbox, made empty when missing; its folder URL.
  std::string CreateMailbox(const std::string& domain, const std::string& account) {
    FillMailboxes(root_, domain, {{account, Calendar("")}});
    return FolderUrlOf(domain, account);
  }

  // Imports the calendar text into the mailbox (created when missing).
  void Import(const std::string& domain, const std::string& account, const std::string& ics) {
    FillMailboxes(root_, domain, {{account, ics}});
  }

  // The date and time an ISO text names (a Z or an offset turns it into UTC).
  static Date At(const char* iso) { return *ParseIsoDate(iso); }

  std::string root_;
};

enum class Store { kLocal, kCalDav };
inline void PrintTo(Store store, std::ostream* out) { *out << (store == Store::kLocal ? "sqlite" : "radicale"); }

// The same accounts in either store; Radicale's password holds a colon, as basic authentication allows.
class EitherStoreFixture : public StoreFixture {
 protected:
  static constexpr char kDomain[] = "corp.example.com";
  static constexpr char kUser[] = "orbitel";
  static constexpr char kPassword[] = "team:calendars";

  explicit EitherStoreFixture(Store store) : store_(store) {}
  void SetUp() override {
    StoreFixture::SetUp();
    if (store_ == Store::kLocal) return;
    if (const std::string why = server_.Start(kUser, kPassword); !why.empty()) GTEST_FAIL() << why;
    SignIn(kPassword);
  }
  // Signs the CalDAV store in to Radicale with this password.
  void SignIn(const std::string& password) {
    StoreSettings settings{root_};
    settings.credentials = StoreCredentials{kUser, password};
    ConfigureStores(settings);
  }

  // The accounts' calendars, each holding the calendar text given; once a test.
  void Fill(const std::vector<std::pair<std::string, std::string>>& calendars) {
    if (store_ == Store::kLocal) return FillMailboxes(root_, kDomain, calendars);
    ASSERT_EQ(server_.StoreSiteCalendars(calendars), "");
  }
  std::string FolderOf(const std::string& account) const {
    return store_ == Store::kLocal ? FolderUrlOf(kDomain, account)
                                   : server_.base_url() + "exchange/" + account + "/calendar/";
  }
  std::unique_ptr<StoreFolder> Folder(const std::string& account) {
    auto folder = (*ProviderForUrl(FolderOf(account)))->OpenFolder(FolderOf(account));
    EXPECT_TRUE(folder.ok()) << folder.status().description();
    return folder.ok() ? std::move(folder).value() : nullptr;
  }
  Connection Connect(const std::string& account) {
    Connection connection;
    connection.Provider = store_ == Store::kLocal ? "ExOLEDB.DataSource" : "MSDAIPP.DSO";
    const Status opened = connection.Open(FolderOf(account));
    EXPECT_TRUE(opened.ok()) << opened.description();
    return connection;
  }

  const Store store_;
  RadicaleServer server_;
};

// The accounts' calendars as whole calendar texts, from the VEVENT bodies each holds.
inline std::vector<std::pair<std::string, std::string>> CalendarTexts(
    const std::vector<std::pair<std::string, std::string>>& events) {
  std::vector<std::pair<std::string, std::string>> texts;
  for (const auto& [account, body] : events) texts.emplace_back(account, Calendar(body));
  return texts;
}
}  // namespace orbitel::data::testing
