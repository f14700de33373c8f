#pragma once
// The in-memory calendar a view dimensions and the store query fills: a grid of text cells
// indexed (user, day or slot, field), each dimension from 0 to its upper bound. Cell (u, 0, 0)
// holds user u's entry "<account>|<full name>"; what the other cells mean depends on the period
// (see CalendarQuery.h). Busy marks are the text "True"; anything else is free.

#include <string>
#include <vector>

#include "site/UserList.h"

namespace orbitel::calendar {

class UserCalendar {
 public:
  // One row per user of the list, entry copied into (u, 0, 0); days and fields are the upper
  // bounds of the second and third dimensions.
  UserCalendar(const site::UserList& users, int days, int fields);

  int UserCount() const { return users_; }
  int DayBound() const { return days_; }
  int FieldBound() const { return fields_; }

  // Out-of-range indexes are a programming error (std::out_of_range).
  std::string& operator()(int user, int day, int field);
  const std::string& operator()(int user, int day, int field) const;

  bool IsBusy(int user, int day, int field) const { return (*this)(user, day, field) == "True"; }

 private:
  std::size_t Index(int user, int day, int field) const;

  int users_, days_, fields_;
  std::vector<std::string> cells_;
};

}  // namespace orbitel::calendar
