#pragma once
// The "Find a time" page ("CalendarFindTime.asp"): the visitor picks people (the team pages'
// people, all ticked at first), a length, a range of days and the working hours; the page lists
// the earliest stretches, on working days inside those hours and not before now, when all of
// them are free, each linking to the team day page of its day. "Suggest" asks for the whole team
// (up to kMaxSuggestPeople) and lists the meeting times when the fewest are busy.
//
// An appointment blocks its person unless its busy status is FREE; tentative ones block unless
// the visitor unticks "count tentative as busy"; private ones block without being named (the
// page names no appointment at all). People whose calendar cannot be read are named above the
// answer. Times are the server's local time, as on the team pages.
//
// Request keys: "Find" (the form was sent), "People" (account names), "Mode" ("suggest"),
// "Length" (minutes, or "day" for the whole working hours), "From" and "To" (YYYY-MM-DD),
// "DayStart" and "DayEnd" (hours), "Tentative" ("on" when ticked).

#include <string>
#include <vector>

#include "runtime/Date.h"
#include "site/PageFrame.h"

namespace orbitel::schedule {

inline constexpr int kMaxSuggestPeople = 500;

class FindTime : public site::PageFrame {
 public:
  FindTime();

  using PageFrame::PrintGenerateErrors;
  using PageFrame::ShowCurrentVersion;
  using PageFrame::ShowDateLink;

  void ValidateUserAccess() { CheckPageAccess(); }

  // Reads the form, and when it was sent, searches: the answer into CalendarHtml, the messages
  // (bad input, unreadable calendars) into ErrorText.
  void GenerateFindTime();

  // The answer: the list of times, or why there is none; empty before a search.
  std::string PrintFreeTimes() const { return PrintCalendar(); }
  // The team's people as check boxes named "People".
  std::string PrintPeople() const;
  // The lengths and the hours as <option> lists, the chosen one selected.
  std::string PrintLengths() const;
  std::string PrintDayStarts() const;
  std::string PrintDayEnds() const;
  // The chosen days as the date inputs show them, "2003-11-05".
  std::string FirstDay() const;
  std::string LastDay() const;
  // " checked" or "".
  std::string TentativeChecked() const;
  std::string SuggestChecked() const;

 private:
  std::string Request(const char* key) const;

  std::vector<std::string> team_;    // the included people's entries
  std::vector<std::string> picked_;  // account names
  std::string length_ = "60";
  Date first_day_, last_day_;
  int day_start_ = 7, day_end_ = 19;
  bool tentative_busy_ = true;
  bool suggest_ = false;
};

}  // namespace orbitel::schedule
