#pragma once
// What the view tests share: a site folder with a directory of three people, a real local store
// filled by importing calendar text, a fixed clock (Wednesday 5 November 2003, 10:40) and the
// New York zone in standard time, so "today", "now" and local times are known.

#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "StoreFixture.h"
#include "site/Clock.h"
#include "site/SiteFixture.h"
#include "site/TimeZone.h"

namespace orbitel::views::testing {

using data::testing::Calendar;
using data::testing::Event;
using site::testing::People;

constexpr char kDomain[] = "orbitel.demo";
const People kTeam = {{"alice", "Alice Walker"}, {"bea", "Bea <b>Bold</b>"}, {"carl", "Carl Diaz"}};

// A timed appointment in local (floating) time, "20031104T090000".
inline std::string Timed(const std::string& uid, const std::string& start, const std::string& end,
                         const std::string& extra = "") {
  return Event(uid, "SUMMARY:" + uid + "\r\nDTSTART:" + start + "\r\nDTEND:" + end + "\r\n" + extra);
}

inline std::string AllDayEvent(const std::string& uid, const std::string& day, const std::string& next) {
  return Event(uid, "SUMMARY:" + uid + "\r\nDTSTART;VALUE=DATE:" + day +
                        "\r\nDTEND;VALUE=DATE:" + next + "\r\n");
}

// The page with the names it adds to pictures, links and check boxes taken out again: what is
// left must be the tables' own markup, byte for byte.
inline std::string WithoutAddedNames(const std::string& html) {
  static const std::regex added(R"( (alt|title|role|aria-[a-z]+)="[^"]*")");
  return std::regex_replace(html, added, "");
}

// The table row of a team page that belongs to the account (up to the next person's icon).
inline std::string RowOf(const std::string& page, const std::string& account) {
  const std::string html = WithoutAddedNames(page);
  const auto at = html.find("USER=" + account + "\"");
  if (at == std::string::npos) return "";
  const auto start = html.rfind("<tr>", at);
  const auto next = html.find("outlook.gif", html.find("outlook.gif", at) + 1);
  return html.substr(start, next == std::string::npos ? next : html.rfind("<tr>", next) - start);
}

// A team day or week row read back as slots: '.' free, '#' busy, 'L' busy somewhere named; a
// week's days are separated by '|'. Day runs span colspan slots, week cells 8% a slot.
inline std::string Slots(const std::string& row) {
  static const std::regex cell(
      "(<center>)|bgcolor=\"#BBBBBB\"|<td width=\"(\\d+)%\">&nbsp;|(?:colspan=\"(\\d+)\"|"
      "bgcolor=\"#0066CC\" width=\"(\\d+)%\")[\\s\\S]*?images/(\\w+)_pix");
  std::string slots;
  for (std::sregex_iterator it(row.begin(), row.end(), cell), end; it != end; ++it) {
    const std::smatch& m = *it;
    if (m[1].matched) {
      if (!slots.empty()) slots += '|';
    } else if (m[2].matched) {
      slots.append(std::stoi(m[2]) / 8, '.');
    } else if (m[5].matched) {
      const int n = m[3].matched ? std::stoi(m[3]) : std::stoi(m[4]) / 8;
      slots.append(n, m[5] == "Location" ? 'L' : '#');
    } else {
      slots += '.';
    }
  }
  return slots;
}

// The busy days of an account on the team month, "3L 27#": day and picture.
inline std::string BusyDays(const std::string& page, const std::string& account) {
  const std::regex busy("CalendarPersonalDay\\.asp\\?DAY=(\\d+)&[^\"]*USER=" + account +
                        "\"><img[^>]*src=\"images/(\\w+)_pix");
  std::string days;
  const std::string html = WithoutAddedNames(page);
  for (std::sregex_iterator it(html.begin(), html.end(), busy), end; it != end; ++it) {
    days += (days.empty() ? "" : " ") + (*it)[1].str() + ((*it)[2] == "Location" ? "L" : "#");
  }
  return days;
}

inline int Count(const std::string& text, const std::string& piece) {
  int n = 0;
  for (auto at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++n;
  return n;
}

class ViewFixture : public site::testing::SiteFixture {
 protected:
  void SetUp() override {
    SiteFixture::SetUp();
    setenv("TZ", "America/New_York", 1);  // the zone the store reads floating times in
    tzset();
    store_root_ = (folder_ / "store").string();
    site::KeepTimeZoneForThread({300, -60}, 1);  // Eastern standard time, whatever the season
    SetNow(2003, 11, 5, 10, 40);                  // a Wednesday
    UseDirectory(kTeam);
    for (const auto& person : kTeam) Import(person.first, "");  // only the appointments differ
  }
  void TearDown() override {
    FixClock(std::nullopt);
    site::KeepTimeZoneForThread({}, 0);
    SiteFixture::TearDown();
  }

  void SetNow(int y, int m, int d, int hour, int minute) {
    FixClock(*Date::FromParts(y, m, d)->AddSeconds(hour * 3600 + minute * 60));
  }
  // Imports the appointments into the account's mailbox, made when missing.
  void Import(const std::string& account, const std::string& events) {
    data::testing::FillMailboxes(store_root_, kDomain, {{account, Calendar(events)}});
  }

  // Starts the page on the date (USER=alice in the request), generates and prints it.
  template <typename Page>
  std::string Run(Page& page, int y, int m, int d) {
    auto context = std::make_shared<site::MemoryPageContext>();
    context->Query("DAY", std::to_string(d)).Query("MONTH", std::to_string(m));
    context->Query("YEAR", std::to_string(y)).Query("USER", "alice");
    page.OnStartPage(context);
    page.GenerateCalendar();
    return page.PrintCalendar();
  }

  std::string store_root_;
};

}  // namespace orbitel::views::testing
