#include "schedule/FindTime.h"

#include <algorithm>
#include <unordered_set>

#include "recordset/AtomicFile.h"
#include "recordset/RowsetFile.h"
#include "runtime/DateText.h"

#include "runtime/Conversions.h"
#include "runtime/TextCoding.h"
#include "schedule/BusyPeriods.h"
#include "schedule/CalendarReading.h"
#include "schedule/FreeTimeSearch.h"
#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/DomainDirectory.h"
#include "site/ErrorHtml.h"
#include "site/PageContext.h"
#include "site/SiteFiles.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"
#include "site/TimeZone.h"
#include "site/UserList.h"

namespace orbitel::schedule {

namespace {

constexpr int kMaxDays = 366;
constexpr std::size_t kShownTimes = 10;
constexpr const char* kWholeDay = "day";

constexpr std::pair<const char*, const char*> kLengths[] = {
    {"15", "15 minutes"}, {"30", "30 minutes"}, {"45", "45 minutes"}, {"60", "1 hour"},
    {"90", "1 hour 30 minutes"}, {"120", "2 hours"}, {"180", "3 hours"}, {"240", "4 hours"},
    {"360", "6 hours"}, {"480", "8 hours"}, {kWholeDay, "the whole working day"},
};

bool IsWorkingDay(Date day) { return day.IsoWeekday() <= 5; }

Date NextWorkingDay(Date day) {
  while (!IsWorkingDay(day)) day = day.AddDays(1).value_or(day);
  return day;
}

// A whole number of up to four digits.
std::optional<int> NumberOf(const std::string& text) {
  if (text.empty() || text.size() > 4 || !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    return std::nullopt;
  }
  return std::stoi(text);
}

std::optional<int> HourOf(const std::string& text) {
  const std::optional<int> hour = NumberOf(text);
  if (!hour || *hour > 24) return std::nullopt;
  return hour;
}

std::string HourOptions(int chosen, int from, int to) {
  std::string html;
  for (int hour = from; hour <= to; ++hour) {
    html += "<option value=\"" + std::to_string(hour) + "\"" + (hour == chosen ? " selected" : "") + ">" +
            std::to_string(hour) + ":00</option>";
  }
  return html;
}

// "9:30" in the server's time of a UTC moment.
std::string ClockText(Date local) {
  return std::to_string(local.Hour()) + ":" + site::PadTwo(local.Minute());
}

Date LocalOf(UtcSeconds moment) { return site::ToLocal(data::DateOfUtc(moment)); }
UtcSeconds UtcOfLocal(Date local) { return data::UtcOfDate(site::ToUtc(local)); }

// The directory's people that the users file includes, in the directory's order: the team pages'
// people. The file is read once into a set rather than filtered a person at a time, which for a
// team of hundreds is most of the page's work.
site::UserList IncludedPeople(const site::UserList& everyone) {
  site::UserList team;
  if (!site::Site().SettingsLoaded) return team;
  data::Recordset file;
  {
    data::FileLock saved_pair(site::files::InSite(site::Site().SitePath, site::files::kSettingsLock),
                              data::FileLock::Mode::kShared);
    if (!data::OpenRowsetFile(site::files::InSite(site::Site().SitePath, site::files::kUsers), file).ok()) return team;
  }
  std::unordered_set<std::string> included;
  for (const std::vector<Value>& row : file.rows()) {
    if (!row.empty()) included.insert(ToLower(row.front().Text()));
  }
  for (const std::string& entry : everyone) {
    if (included.contains(ToLower(site::SplitUserEntry(entry, false)))) team.push_back(entry);
  }
  return team;
}

}  // namespace

FindTime::FindTime() : PageFrame({"CalendarFindTime.asp", site::DateStep::kNone, 1}) {}

std::string FindTime::Request(const char* key) const {
  const auto& context = site::Site().PageContext;
  return context ? Trim(context->RequestText(key)) : std::string();
}

void FindTime::GenerateFindTime() {
  site::GetSiteVars();
  site::SiteState& site = site::Site();
  site.CalendarHtml.clear();
  site.ErrorText.clear();

  site::UserList everyone;
  site::GetFolderPaths(everyone);
  team_ = IncludedPeople(everyone);

  first_day_ = NextWorkingDay(site::Today());
  last_day_ = first_day_;
  for (int more = 4; more > 0;) {
    last_day_ = last_day_.AddDays(1).value_or(last_day_);
    if (IsWorkingDay(last_day_)) --more;
  }
  const bool sent = !Request("Find").empty();
  if (!sent) {
    for (const std::string& entry : team_) picked_.push_back(site::SplitUserEntry(entry, false));
    return;
  }

  // The form as sent, kept for showing it again whatever is wrong with it.
  std::vector<std::string> messages;
  suggest_ = Request("Mode") == "suggest";
  tentative_busy_ = Request("Tentative") == "on";
  const std::string people = Request("People");
  for (std::size_t start = 0; start < people.size();) {
    std::size_t comma = people.find(',', start);
    if (comma == std::string::npos) comma = people.size();
    const std::string account = Trim(std::string_view(people).substr(start, comma - start));
    if (!account.empty()) picked_.push_back(account);
    start = comma + 1;
  }
  const std::string from_text = Request("From"), to_text = Request("To");
  const std::optional<Date> from = ParseIsoDay(from_text), to = ParseIsoDay(to_text);
  if (from) first_day_ = *from;
  if (to) last_day_ = *to;
  const std::optional<int> day_start = HourOf(Request("DayStart")), day_end = HourOf(Request("DayEnd"));
  if (day_start) day_start_ = *day_start;
  if (day_end) day_end_ = *day_end;
  length_ = Request("Length");

  if (!from) messages.push_back("The first day \"" + HtmlEscape(from_text) + "\" is not a date (year-month-day).");
  if (!to) messages.push_back("The last day \"" + HtmlEscape(to_text) + "\" is not a date (year-month-day).");
  if (from && to && *to < *from) messages.push_back("The last day is before the first day.");
  if (from && to && to->serial() - from->serial() >= kMaxDays) messages.push_back("The days span more than a year.");
  if (!day_start || !day_end) {
    messages.push_back("The working hours are not hours of the day.");
  } else if (day_end_ <= day_start_) {
    messages.push_back("The working hours end before they start.");
  }
  int minutes = 0;
  if (length_ == kWholeDay) {
    minutes = (day_end_ - day_start_) * 60;
  } else {
    minutes = NumberOf(length_).value_or(0);
    if (minutes <= 0 || minutes > 24 * 60) {
      messages.push_back("The length \"" + HtmlEscape(length_) + "\" is not a number of minutes up to a day.");
    } else if (day_end_ > day_start_ && minutes > (day_end_ - day_start_) * 60) {
      messages.push_back("The length is longer than the working hours of a day.");
    }
  }

  // Who is asked: the whole team for suggestions, else the people ticked, each of whom must be
  // one of the directory's.
  std::vector<std::string> accounts, names;
  if (suggest_) {
    if (static_cast<int>(team_.size()) > kMaxSuggestPeople) {
      messages.push_back("Suggestions are made for up to " + std::to_string(kMaxSuggestPeople) +
                         " people; the team has " + std::to_string(team_.size()) + ".");
    }
    for (const std::string& entry : team_) {
      accounts.push_back(site::SplitUserEntry(entry, false));
      names.push_back(site::SplitUserEntry(entry, true));
    }
  } else {
    for (const std::string& account : picked_) {
      const auto entry = std::find_if(everyone.begin(), everyone.end(), [&account](const std::string& e) {
        return EqualsIgnoringCase(site::SplitUserEntry(e, false), account);
      });
      if (entry == everyone.end()) {
        messages.push_back("There is nobody with the account name \"" + HtmlEscape(account) + "\".");
        continue;
      }
      accounts.push_back(site::SplitUserEntry(*entry, false));
      names.push_back(site::SplitUserEntry(*entry, true));
    }
  }
  if (accounts.empty() && messages.empty()) messages.push_back("Pick at least one person.");
  if (!site.SettingsLoaded) return;  // the directory's own message is in ErrorText
  if (!messages.empty()) {
    for (const std::string& message : messages) site.ErrorText += site::ErrorHtml(message);
    return;
  }

  // Each working day's hours, in UTC, none of it before now.
  std::vector<TimeWindow> windows;
  const UtcSeconds now = UtcOfLocal(site::Now());
  for (Date day = first_day_; day <= last_day_;) {
    if (IsWorkingDay(day)) {
      const UtcSeconds start = std::max(now, UtcOfLocal(Date(day.serial() + day_start_ / 24.0)));
      const UtcSeconds end = UtcOfLocal(Date(day.serial() + day_end_ / 24.0));
      if (start < end) windows.push_back({start, end});
    }
    auto next = day.AddDays(1);
    if (!next.ok()) break;
    day = *next;
  }
  if (windows.empty()) {
    site.ErrorText += site::ErrorHtml("These days have no working hours left (Saturdays and Sundays are left out).");
    return;
  }

  const UtcSeconds from_utc = windows.front().start, until_utc = windows.back().end;
  std::vector<std::vector<BusyPeriod>> busy;
  std::string unread;
  int people_read = 0;
  auto calendars = ReadCalendars(accounts, from_utc, until_utc);
  for (std::size_t i = 0; i < calendars.size(); ++i) {
    if (!calendars[i].ok()) {
      unread += (unread.empty() ? "" : ", ") + HtmlEscape(names[i]);
      continue;
    }
    busy.push_back(MergeBusy(calendars[i].value(), from_utc, until_utc));
    ++people_read;
  }
  if (!unread.empty()) {
    site.ErrorText += site::ErrorHtml("The calendars of " + unread +
                                      " could not be read: the times below leave them out.");
  }
  if (people_read == 0) return;

  const UtcSeconds length = static_cast<UtcSeconds>(minutes) * 60;
  const std::vector<FreeTime> times =
      suggest_ ? LeastBusyTimes(busy, windows, length, minutes < 30 ? 15 * 60 : 30 * 60, tentative_busy_, kShownTimes)
               : CommonFreeTimes(busy, windows, length, tentative_busy_, kShownTimes);
  std::string& html = site.CalendarHtml;
  if (times.empty()) {
    html = "<p class=\"no-free-time\">No time in these days suits everyone.</p>";
    return;
  }
  html = "<ol class=\"free-times\">";
  for (const FreeTime& time : times) {
    const Date start = LocalOf(time.start), end = LocalOf(time.end);
    html += "<li><a href=\"CalendarDay.asp" + site::BuildDateLinkQuery(start.DatePart(), "") + "\">" +
            FormatLongDate(start) + "</a> " + ClockText(start) + " to " + ClockText(end);
    if (suggest_) {
      html += ": " + std::to_string(people_read - time.busy) + " of " + std::to_string(people_read) + " free";
    }
    html += "</li>";
  }
  html += "</ol>";
}

std::string FindTime::PrintPeople() const {
  std::string html;
  for (const std::string& entry : team_) {
    const std::string account = site::SplitUserEntry(entry, false);
    const bool ticked = std::any_of(picked_.begin(), picked_.end(),
                                    [&account](const std::string& a) { return EqualsIgnoringCase(a, account); });
    html += "<label><input type=\"checkbox\" name=\"People\" value=\"" + HtmlEscape(account) + "\"" +
            (ticked ? " checked" : "") + "> " + HtmlEscape(site::SplitUserEntry(entry, true)) + "</label>";
  }
  return html;
}

std::string FindTime::PrintLengths() const {
  std::string html;
  for (const auto& [value, text] : kLengths) {
    html += "<option value=\"" + std::string(value) + "\"" + (length_ == value ? " selected" : "") + ">" + text +
            "</option>";
  }
  return html;
}

std::string FindTime::PrintDayStarts() const { return HourOptions(day_start_, 0, 23); }
std::string FindTime::PrintDayEnds() const { return HourOptions(day_end_, 1, 24); }
std::string FindTime::FirstDay() const { return IsoDayText(first_day_); }
std::string FindTime::LastDay() const { return IsoDayText(last_day_); }
std::string FindTime::TentativeChecked() const { return tentative_busy_ ? " checked" : ""; }
std::string FindTime::SuggestChecked() const { return suggest_ ? " checked" : ""; }

}  // namespace orbitel::schedule
