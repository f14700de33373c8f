#pragma once
// The appointment object the appointment page writes through: set its properties, then save
// it into a folder as a new item, or open an existing item, change it and save it back. Times
// are given in the server's local time and stored in UTC. Saving an opened item keeps every
// iCalendar property the object does not edit. Not thread-safe; one per request.

#include <string>

#include "data/StoreProvider.h"
#include "runtime/Date.h"
#include "runtime/Status.h"

namespace orbitel::data {

class Appointment;

class AppointmentDataSource {
 public:
  explicit AppointmentDataSource(Appointment& appointment) : appointment_(appointment) {}
  // Creates a new item in the folder (named "<uid>.ics" by the store).
  Status SaveToContainer(const std::string& folder_url);
  // Loads the item at href into the appointment; errors::kCannotOpenFolder when it is missing.
  Status Open(const std::string& href);
  // Writes the opened item back; fails when it changed in the store since Open.
  Status Save();
  // The opened item's version tag, as the store gave it at Open (or after the last Save).
  const std::string& etag() const { return opened_.etag; }

 private:
  Appointment& appointment_;
  ItemSource opened_;
  bool is_open_ = false;
};

class Appointment {
 public:
  Appointment() : data_source_(*this) {}
  Appointment(const Appointment&) = delete;
  Appointment& operator=(const Appointment&) = delete;

  std::string Subject;
  std::string Location;
  std::string BusyStatus;
  Date StartTime;
  Date EndTime;
  bool AllDayEvent = false;
  std::string TextBody;

  AppointmentDataSource& DataSource() { return data_source_; }

 private:
  AppointmentDataSource data_source_;
};

}  // namespace orbitel::data
