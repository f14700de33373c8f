#include "host/DemoCalendar.h"

#include <cstdint>
#include <cstdio>
#include <random>

#include "runtime/Conversions.h"
#include "store/StoreTime.h"

namespace orbitel::host {
namespace {

using data::UtcSeconds;

// FNV-1a of the account name in lower case: a seed that is the same on every run and machine.
std::uint32_t SeedOf(const std::string& account) {
  std::uint32_t hash = 2166136261u;
  for (char c : ToLower(account)) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 16777619u;
  }
  return hash;
}

Date DayFrom(Date today, int days) { return today.AddDays(days).value_or(today); }

std::string DateText(Date day) {
  char text[16];
  std::snprintf(text, sizeof text, "%04d%02d%02d", day.Year(), day.Month(), day.Day());
  return text;
}

// A local wall-clock time on a day, written in UTC.
std::string UtcText(Date day, int hour, int minute) {
  const UtcSeconds moment =
      data::UtcOfLocalParts(day.Year(), day.Month(), day.Day(), hour, minute, 0);
  const Date utc = data::DateOfUtc(moment);
  char text[24];
  std::snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%02dZ", utc.Year(), utc.Month(), utc.Day(),
                utc.Hour(), utc.Minute(), utc.Second());
  return text;
}

// A local wall-clock time without a zone (floating): the server's local time wherever the
// daylight-saving change falls, as a weekly meeting should be.
std::string FloatingText(Date day, int hour, int minute) {
  char text[24];
  std::snprintf(text, sizeof text, "%sT%02d%02d00", DateText(day).c_str(), hour, minute);
  return text;
}

class Builder {
 public:
  Builder(const std::string& account) : account_(ToLower(account)) {}

  // Starts a VEVENT with the next demo UID; lines are the event's own properties.
  void Add(const std::vector<std::string>& lines) {
    std::string uid = std::string(kDemoUidPrefix) + account_ + "-" + std::to_string(++count_) +
                      "@orbitel";
    std::string ics = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Orbitel//Demo//EN\r\n";
    ics += Event(uid, lines);
    ics += "END:VCALENDAR\r\n";
    items_.push_back(std::move(ics));
  }

  // The recurring meeting: a master and extra components (overrides) sharing one UID.
  void AddSeries(const std::vector<std::string>& master,
                 const std::vector<std::vector<std::string>>& overrides) {
    std::string uid = std::string(kDemoUidPrefix) + account_ + "-" + std::to_string(++count_) +
                      "@orbitel";
    std::string ics = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Orbitel//Demo//EN\r\n";
    ics += Event(uid, master);
    for (const auto& change : overrides) ics += Event(uid, change);
    ics += "END:VCALENDAR\r\n";
    items_.push_back(std::move(ics));
  }

  std::vector<std::string> Take() { return std::move(items_); }

 private:
  static std::string Event(const std::string& uid, const std::vector<std::string>& lines) {
    std::string text = "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTAMP:20240101T000000Z\r\n";
    for (const std::string& line : lines) text += line + "\r\n";
    return text + "END:VEVENT\r\n";
  }

  std::string account_;
  int count_ = 0;
  std::vector<std::string> items_;
};

}  // namespace

std::vector<std::string> DemoAppointments(const std::string& account, Date today) {
  std::mt19937 random(SeedOf(account));
  auto pick = [&random](unsigned n) { return static_cast<int>(random() % n); };
  today = today.DatePart();
  Builder demo(account);

  const int status_hour = 9 + pick(3);
  demo.Add({"SUMMARY:Project status meeting", "DTSTART:" + UtcText(today, status_hour, 0),
            "DTEND:" + UtcText(today, status_hour + 1, 0),
            "LOCATION:Room " + std::to_string(100 + pick(300))});
  demo.Add({"SUMMARY:Design review", "DTSTART:" + UtcText(DayFrom(today, 1), 14, 0),
            "DTEND:" + UtcText(DayFrom(today, 1), 15, 30), "LOCATION:Meeting room B"});
  demo.Add({"SUMMARY:Customer call", "DTSTART:" + UtcText(DayFrom(today, -1), 11, 0),
            "DTEND:" + UtcText(DayFrom(today, -1), 11, 30)});
  demo.Add({"SUMMARY:Training day", "DTSTART;VALUE=DATE:" + DateText(DayFrom(today, 2)),
            "DTEND;VALUE=DATE:" + DateText(DayFrom(today, 3)), "LOCATION:Training centre"});
  demo.Add({"SUMMARY:Trade fair", "DTSTART;VALUE=DATE:" + DateText(DayFrom(today, 8)),
            "DTEND;VALUE=DATE:" + DateText(DayFrom(today, 11)), "LOCATION:Exhibition centre"});
  demo.Add({"SUMMARY:Workshop", "DTSTART:" + UtcText(DayFrom(today, 15), 9, 0),
            "DTEND:" + UtcText(DayFrom(today, 16), 17, 0), "LOCATION:Conference hotel"});

  // Weekly on the Monday two weeks back: the second meeting moved to the afternoon, the third
  // cancelled.
  const Date monday = DayFrom(today, -14 - (today.IsoWeekday() - 1));
  const Date second = DayFrom(monday, 7);
  const Date third = DayFrom(monday, 14);
  demo.AddSeries({"SUMMARY:Team meeting", "DTSTART:" + FloatingText(monday, 10, 0),
                  "DTEND:" + FloatingText(monday, 11, 0), "RRULE:FREQ=WEEKLY;COUNT=8",
                  "EXDATE:" + FloatingText(third, 10, 0), "LOCATION:Room 101"},
                 {{"RECURRENCE-ID:" + FloatingText(second, 10, 0),
                   "SUMMARY:Team meeting (moved)", "DTSTART:" + FloatingText(second, 14, 0),
                   "DTEND:" + FloatingText(second, 15, 0), "LOCATION:Room 102"}});

  demo.Add({"SUMMARY:Doctor's appointment", "CLASS:PRIVATE",
            "DTSTART:" + UtcText(DayFrom(today, 3), 8, 0),
            "DTEND:" + UtcText(DayFrom(today, 3), 9, 0)});
  demo.Add({"SUMMARY:Lunch with the team", "TRANSP:TRANSPARENT",
            "DTSTART:" + UtcText(today, 12, 0), "DTEND:" + UtcText(today, 13, 0),
            "LOCATION:Canteen"});
  demo.Add({"SUMMARY:Vendor demo (to be confirmed)", "STATUS:TENTATIVE",
            "DTSTART:" + UtcText(DayFrom(today, 4), 15, 0),
            "DTEND:" + UtcText(DayFrom(today, 4), 16, 0)});
  demo.Add({"SUMMARY:Out of office", "X-MICROSOFT-CDO-BUSYSTATUS:OOF",
            "DTSTART;VALUE=DATE:" + DateText(DayFrom(today, 5)),
            "DTEND;VALUE=DATE:" + DateText(DayFrom(today, 7))});

  const int extra = 1 + pick(3);
  for (int i = 0; i < extra; ++i) {
    const Date day = DayFrom(today, pick(14) - 7);
    const int hour = 8 + pick(9);
    const int minutes = pick(2) == 0 ? 30 : 60;
    std::vector<std::string> lines = {
        "SUMMARY:Meeting " + std::to_string(i + 1), "DTSTART:" + UtcText(day, hour, 0),
        "DTEND:" + UtcText(day, hour, minutes)};
    if (pick(2) == 0) lines.push_back("LOCATION:Room " + std::to_string(200 + pick(100)));
    demo.Add(lines);
  }
  return demo.Take();
}

}  // namespace orbitel::host
