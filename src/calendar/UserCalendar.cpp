#include "calendar/UserCalendar.h"

#include <stdexcept>

namespace orbitel::calendar {

UserCalendar::UserCalendar(const site::UserList& users, int days, int fields)
    : users_(static_cast<int>(users.size())),
      days_(days),
      fields_(fields),
      cells_(static_cast<std::size_t>(users_) * (days + 1) * (fields + 1)) {
  for (int u = 0; u < users_; ++u) (*this)(u, 0, 0) = users[u];
}

std::size_t UserCalendar::Index(int user, int day, int field) const {
  if (user < 0 || user >= users_ || day < 0 || day > days_ || field < 0 || field > fields_) {
    throw std::out_of_range("calendar cell out of range");
  }
  return (static_cast<std::size_t>(user) * (days_ + 1) + day) * (fields_ + 1) + field;
}

std::string& UserCalendar::operator()(int user, int day, int field) {
  return cells_[Index(user, day, field)];
}

const std::string& UserCalendar::operator()(int user, int day, int field) const {
  return cells_[Index(user, day, field)];
}

}  // namespace orbitel::calendar
