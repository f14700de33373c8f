#pragma once
// The calendar stores the tests fill: a local store in a fresh temporary root, or beside it the
// CalDAV store on a real Radicale the test starts, with the providers a site would have for them
// (the local store's alone unless the test runs on either store).

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

#include "CalendarZone.h"
#include "RadicaleServer.h"
#include "TempFolder.h"
#include "caldav/CalDavStore.h"
#include "ical/ICalendar.h"
#include "localstore/LocalStore.h"
#include "localstore/LocalStoreDatabase.h"
#include "store/Connection.h"
#include "store/StoreProvider.h"
#include "store/StoreUrl.h"

namespace orbitel::data::testing {

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

// The providers a site has for these stores: the local store and CalDAV.
inline StoreProviders ProvidersFor(const StoreSettings& settings) {
  return StoreProviders({MakeLocalStoreProvider(settings.store_root), MakeCalDavProvider(settings)});
}

class StoreFixture : public NewYorkFixture {
 protected:
  void SetUp() override {
    NewYorkFixture::SetUp();
    root_ = orbitel::testing::MakeTempFolder("orbitel-store").string();
    providers_ = StoreProviders({MakeLocalStoreProvider(root_)});
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

  std::string root_;
  StoreProviders providers_;
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
    providers_ = ProvidersFor(StoreSettings{root_});
    if (store_ == Store::kLocal) return;
    if (const std::string why = server_.Start(kUser, kPassword); !why.empty()) GTEST_FAIL() << why;
    SignIn(kPassword);
  }
  // Signs the CalDAV store in to Radicale with this password.
  void SignIn(const std::string& password) {
    StoreSettings settings{root_};
    settings.credentials = StoreCredentials{kUser, password};
    providers_ = ProvidersFor(settings);
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
    auto folder = (*providers_.ForUrl(FolderOf(account)))->OpenFolder(FolderOf(account));
    EXPECT_TRUE(folder.ok()) << folder.status().description();
    return folder.ok() ? std::move(folder).value() : nullptr;
  }
  Connection Connect(const std::string& account) {
    Connection connection(providers_);
    connection.Provider = store_ == Store::kLocal ? "ExOLEDB.DataSource" : "MSDAIPP.DSO";
    const Status opened = connection.Open(FolderOf(account));
    EXPECT_TRUE(opened.ok()) << opened.description();
    return connection;
  }

  const Store store_;
  RadicaleServer server_;
};

}  // namespace orbitel::data::testing
