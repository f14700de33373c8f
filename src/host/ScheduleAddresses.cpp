#include "host/ScheduleAddresses.h"

#include <algorithm>
#include <ctime>

#include "host/UrlEncodedForm.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "runtime/Secrets.h"
#include "schedule/BusyPeriods.h"
#include "schedule/CalendarFeed.h"
#include "schedule/CalendarReading.h"
#include "schedule/FeedSettings.h"
#include "schedule/FreeBusyText.h"
#include "site/AccessControl.h"
#include "site/Clock.h"
#include "site/DomainDirectory.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"
#include "site/UserList.h"

namespace orbitel::host {

namespace {

using schedule::UtcSeconds;

constexpr std::string_view kFreeBusyFolder = "/freebusy/";
constexpr std::string_view kFeedFolder = "/feeds/";
constexpr int kFreeBusyDays = 8 * 7;
constexpr int kMaxFreeBusyDays = 366;
constexpr int kFeedDaysBack = 4 * 7;
constexpr int kFeedDaysAhead = 365;
constexpr const char* kCalendarType = "text/calendar; charset=utf-8";

PlainAnswer Plain(int status, std::string reason) { return {status, std::move(reason) + "\n", "text/plain; charset=utf-8"}; }

// The account of "/<folder>/<account><suffix>"; empty when the path is not of that form.
std::string AccountIn(std::string_view path, std::string_view folder, std::string_view suffix) {
  if (!path.starts_with(folder) || !path.ends_with(suffix)) return "";
  const std::string_view account = path.substr(folder.size(), path.size() - folder.size() - suffix.size());
  if (account.find('/') != std::string_view::npos) return "";
  return std::string(account);
}

Date Plus(Date day, int days) { return day.AddDays(days).value_or(day); }

// The UTC moment of the day's local midnight.
UtcSeconds Midnight(Date day) { return data::UtcOfLocalParts(day.Year(), day.Month(), day.Day(), 0, 0, 0); }

}  // namespace

bool IsScheduleAddress(std::string_view path) {
  return path.starts_with(kFreeBusyFolder) || path.starts_with(kFeedFolder);
}

PlainAnswer AnswerScheduleAddress(const std::filesystem::path& site_folder, std::string_view target,
                                  const std::optional<SessionData>& session) {
  const std::size_t question = target.find('?');
  // The address's last two parts: a server of many sites puts the site's folder before them.
  std::string path = UrlDecode(target.substr(0, question));
  if (const std::size_t file = path.rfind('/'); file != std::string::npos && file > 0) {
    path.erase(0, path.rfind('/', file - 1));
  }
  const site::RequestFields query =
      ParseUrlEncoded(question == std::string_view::npos ? std::string_view() : target.substr(question + 1));
  site::SiteState& site = site::Site();
  site.SitePath = site_folder.string() + "/";

  // Nobody learns that an address exists without the right to read it.
  const bool signed_in = session && (session->level == site::kUserSession || session->level == site::kAdminSession);
  const schedule::FeedSettings feed = schedule::ReadFeedSettings(site.SitePath);
  if (!signed_in && !SameSecret(query.Find("token").value_or(""), feed.token)) return Plain(404, "Not found");

  const bool freebusy = path.starts_with(kFreeBusyFolder);
  const std::string account =
      freebusy ? AccountIn(path, kFreeBusyFolder, ".ifb") : AccountIn(path, kFeedFolder, ".ics");
  if (account.empty()) return Plain(404, "Not found");

  site::GetSiteVars();
  site::UserList everyone;
  site::GetFolderPaths(everyone);
  site.ErrorText.clear();
  const auto entry = std::find_if(everyone.begin(), everyone.end(), [&account](const std::string& e) {
    return EqualsIgnoringCase(site::SplitUserEntry(e, false), account);
  });
  if (entry == everyone.end()) return Plain(400, "There is nobody with the account name " + account + ".");
  const std::string owner = site::SplitUserEntry(*entry, false);

  Date first = site::Today(), last = Plus(first, kFeedDaysAhead);
  if (freebusy) {
    const std::optional<std::string> start = query.Find("start"), end = query.Find("end");
    if (start) {
      const std::optional<Date> day = ParseIsoDay(*start);
      if (!day) return Plain(400, "The start \"" + *start + "\" is not a date (YYYY-MM-DD).");
      first = *day;
    }
    last = Plus(first, kFreeBusyDays - 1);
    if (end) {
      const std::optional<Date> day = ParseIsoDay(*end);
      if (!day) return Plain(400, "The end \"" + *end + "\" is not a date (YYYY-MM-DD).");
      last = *day;
    }
    if (last < first) return Plain(400, "The end is before the start.");
    if (last.serial() - first.serial() >= kMaxFreeBusyDays) return Plain(400, "The span is longer than a year.");
  } else {
    first = Plus(first, -kFeedDaysBack);
  }
  const UtcSeconds from = Midnight(first), until = Midnight(Plus(last, 1));

  auto calendars = schedule::ReadCalendars({owner}, from, until, !freebusy);
  if (!calendars.front().ok()) return Plain(503, "The calendar of " + owner + " cannot be read.");
  const UtcSeconds now = std::time(nullptr);
  if (freebusy) {
    const std::string organizer = site.DomainDnsName.empty() ? "" : "mailto:" + owner + "@" + site.DomainDnsName;
    return {200,
            schedule::FreeBusyText(organizer, from, until, schedule::MergeBusy(calendars.front().value(), from, until), now),
            kCalendarType};
  }
  return {200, schedule::FeedText(site::SplitUserEntry(*entry, true), calendars.front().value(), feed.private_items, now),
          kCalendarType};
}

}  // namespace orbitel::host
