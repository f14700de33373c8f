#pragma once
// What the view tests share: a site folder with a directory of three people, a real local store
// filled by importing calendar text, a fixed clock (Wednesday 5 November 2003, 10:40) and the
// New York zone in standard time, so "today", "now" and local times are known.

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "data/StoreFixture.h"
#include "runtime/Date.h"
#include "site/Clock.h"
#include "site/MemoryPageContext.h"
#include "site/SiteFixture.h"
#include "site/SiteState.h"
#include "site/TimeZone.h"

namespace orbitel::views::testing {

using data::testing::Calendar;
using data::testing::Event;
using People = std::vector<std::pair<std::string, std::string>>;  // account, full name

constexpr char kDomain[] = "orbitel.demo";
const People kTeam = {{"alice", "Alice Walker"}, {"bea", "Bea <b>Bold</b>"}, {"carl", "Carl Diaz"}};

// The store fixture's import path, aimed at the site's own store folder so that the site and
// the store provider read one root.
class SiteStore : public data::testing::StoreFixture {
 public:
  void TestBody() override {}
  void Open(const std::filesystem::path& root) {
    SetUp();  // TZ=America/New_York
    std::filesystem::remove_all(root_);
    root_ = root.string();
    data::ConfigureStores(data::StoreSettings{root_});
  }
  using StoreFixture::CreateMailbox;
  using StoreFixture::Import;
  using StoreFixture::root_;
};

// A directory export with the domain and one enabled user per person.
inline std::string Ldif(const People& people) {
  std::string text =
      "version: 1\n\ndn: DC=ORBITEL,DC=DEMO\nobjectClass: top\nobjectClass: domain\n"
      "objectClass: domainDNS\nobjectClass: dcObject\ndc: ORBITEL\nname: ORBITEL\n\n";
  for (const auto& [account, name] : people) {
    text += "dn: CN=" + account + ",DC=ORBITEL,DC=DEMO\nobjectClass: top\nobjectClass: person\n"
            "objectClass: organizationalPerson\nobjectClass: user\ncn: " + account +
            "\ndisplayName: " + name + "\nsAMAccountName: " + account +
            "\nuserAccountControl: 512\n\n";
  }
  return text;
}

// A timed appointment in local (floating) time, "20031104T090000".
inline std::string Timed(const std::string& uid, const std::string& start, const std::string& end,
                  const std::string& extra = "") {
  return Event(uid,
               "SUMMARY:" + uid + "\r\nDTSTART:" + start + "\r\nDTEND:" + end + "\r\n" + extra);
}

inline std::string AllDayEvent(const std::string& uid, const std::string& day, const std::string& next) {
  return Event(uid, "SUMMARY:" + uid + "\r\nDTSTART;VALUE=DATE:" + day +
                        "\r\nDTEND;VALUE=DATE:" + next + "\r\n");
}

inline bool IsWeekend(int y, int m, int d) { return Date::FromParts(y, m, d)->IsoWeekday() > 5; }

inline std::string DateLink(int y, int m, int d, const std::string& user) {
  return "?DAY=" + std::to_string(d) + "&MONTH=" + std::to_string(m) + "&YEAR=" +
         std::to_string(y) + "&USER=" + user;
}

// The page with the names it adds to pictures, links and check boxes taken out again: what is
// left must be the tables' own markup, byte for byte.
inline std::string WithoutAddedNames(const std::string& html) {
  static const std::regex added(R"( (alt|title|role|aria-[a-z]+)="[^"]*")");
  return std::regex_replace(html, added, "");
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
    store_.Open(folder_ / "store");
    site::KeepTimeZoneForThread({300, -60}, 1);  // Eastern standard time, whatever the season
    SetNow(2003, 11, 5, 10, 40);                  // a Wednesday
    UseDirectory(kTeam);
  }
  void TearDown() override {
    site::FixClockForThread(std::nullopt);
    site::KeepTimeZoneForThread({}, 0);
    SiteFixture::TearDown();
  }

  void SetNow(int y, int m, int d, int hour, int minute) {
    site::FixClockForThread(*Date::FromParts(y, m, d)->AddSeconds(hour * 3600 + minute * 60));
  }
  void UseDirectory(const People& people) {
    site::testing::WriteFile(File("people.ldif"), Ldif(people));
    ConnectDirectory(File("people.ldif").string());
  }
  void Import(const std::string& account, const std::string& events) {
    store_.Import(kDomain, account, Calendar(events));
  }
  // Every person of kTeam gets a mailbox, so only the appointments differ.
  void Mailboxes() {
    for (const auto& person : kTeam) store_.CreateMailbox(kDomain, person.first);
  }

  // Starts the page on the date (USER=alice in the request), generates and prints it.
  template <typename Page>
  std::string Run(Page& page, int y, int m, int d) {
    auto context = std::make_shared<site::MemoryPageContext>();
    context->Query("DAY", std::to_string(d))
        .Query("MONTH", std::to_string(m))
        .Query("YEAR", std::to_string(y))
        .Query("USER", "alice");
    page.OnStartPage(context);
    page.GenerateCalendar();
    return page.PrintCalendar();
  }

  SiteStore store_;
};

}  // namespace orbitel::views::testing
