#pragma once
// A local store in a fresh temporary root, in the America/New_York zone so local-time rules
// (all-day midnights, floating times, daylight-saving changes) give known UTC values. Items go
// in the way the store command imports them.

#include <gtest/gtest.h>

#include "TempFolder.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "data/ICalendar.h"
#include "data/IsoDate.h"
#include "data/LocalStoreDatabase.h"
#include "data/StoreProvider.h"
#include "data/StoreUrl.h"

namespace orbitel::data::testing {

// Each account's mailbox in the local store under root, holding the calendar text given.
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

  std::string CreateMailbox(const std::string& domain, const std::string& account) {
    auto database = LocalStoreDatabase::OpenOrCreate(root_, domain);
    EXPECT_TRUE(database.ok()) << database.status().description();
    auto folder = (*database)->CreateMailbox(account);
    EXPECT_TRUE(folder.ok()) << folder.status().description();
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

// A calendar of the given VEVENT bodies (each a block of content lines).
inline std::string Calendar(const std::string& events) {
  return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//test//EN\r\n" + events + "END:VCALENDAR\r\n";
}

inline std::string Event(const std::string& uid, const std::string& lines) {
  return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTAMP:20260101T000000Z\r\n" + lines +
         "END:VEVENT\r\n";
}

// The accounts' calendars as whole calendar texts, from the VEVENT bodies each holds.
inline std::vector<std::pair<std::string, std::string>> CalendarTexts(
    const std::vector<std::pair<std::string, std::string>>& events) {
  std::vector<std::pair<std::string, std::string>> texts;
  for (const auto& [account, body] : events) texts.emplace_back(account, Calendar(body));
  return texts;
}

}  // namespace orbitel::data::testing
