#pragma once
// The appointments the team benchmarks fill each person's calendar with.

#include <cstdio>
#include <string>

namespace orbitel::bench {

inline std::string Account(int p) { return "user" + std::to_string(p); }

// The n-th appointment: spread over October to December 2003 in local time, one hour or all
// day; some located, private or free, as real calendars are.
inline std::string Appointment(const std::string& uid, int n) {
  const int month = 10 + n % 3, day = 1 + (n * 11) % 28, hour = 8 + n % 9;
  char date[16];
  std::snprintf(date, sizeof date, "2003%02d%02d", month, day);
  std::string ics =
      "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//bench//EN\r\nBEGIN:VEVENT\r\nUID:" + uid +
      "\r\nDTSTAMP:20030101T000000Z\r\nSUMMARY:Meeting " + std::to_string(n) + "\r\n";
  if (n % 11 == 0) {
    char next[16];
    std::snprintf(next, sizeof next, "2003%02d%02d", month, day + 1);
    ics += std::string("DTSTART;VALUE=DATE:") + date + "\r\nDTEND;VALUE=DATE:" + next + "\r\n";
  } else {
    char start[8], end[8];
    std::snprintf(start, sizeof start, "T%02d0000", hour);
    std::snprintf(end, sizeof end, "T%02d0000", hour + 1);
    ics += std::string("DTSTART:") + date + start + "\r\nDTEND:" + date + end + "\r\n";
  }
  if (n % 3 == 0) ics += "LOCATION:Room " + std::to_string(n % 40) + "\r\n";
  if (n % 7 == 0) ics += "CLASS:PRIVATE\r\n";
  if (n % 5 == 0) ics += "TRANSP:TRANSPARENT\r\n";
  return ics + "END:VEVENT\r\nEND:VCALENDAR\r\n";
}

}  // namespace orbitel::bench
