#pragma once
// Calendar texts as the tests write them, and the time zone they are read in: America/New_York,
// so local-time rules (all-day midnights, floating times, daylight-saving changes) give known
// UTC values.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "runtime/DateText.h"

namespace orbitel::data::testing {

// A calendar of the given VEVENT bodies (each a block of content lines).
inline std::string Calendar(const std::string& events) {
  return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//test//EN\r\n" + events + "END:VCALENDAR\r\n";
}

inline std::string Event(const std::string& uid, const std::string& lines) {
  return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTAMP:20260101T000000Z\r\n" + lines + "END:VEVENT\r\n";
}

// The accounts' calendars as whole calendar texts, from the VEVENT bodies each holds.
inline std::vector<std::pair<std::string, std::string>> CalendarTexts(
    const std::vector<std::pair<std::string, std::string>>& events) {
  std::vector<std::pair<std::string, std::string>> texts;
  for (const auto& [account, body] : events) texts.emplace_back(account, Calendar(body));
  return texts;
}

class NewYorkFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "America/New_York", 1);
    tzset();
  }

  // The date and time an ISO text names (a Z or an offset turns it into UTC).
  static Date At(const char* iso) { return *ParseIsoDate(iso); }
};

}  // namespace orbitel::data::testing
