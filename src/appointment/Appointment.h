#pragma once
// The appointment object the appointment page writes through: set its properties, then save
// it into a folder as a new item, or open an existing item, change it and save it back. Times
// are given in the server's local time and stored in UTC. Saving an opened item keeps every
// iCalendar property the object does not edit. The item's folder is opened through the
// provider of the site's (StoreProviders, which must outlive the object) that serves its URL.
// Not thread-safe; one per request.

#include <string>

#include "runtime/Date.h"
#include "runtime/Status.h"
#include "store/StoreProvider.h"

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
  // The opened (or just saved) item's URL.
  const std::string& href() const { return opened_.href; }

 private:
  Appointment& appointment_;
  ItemSource opened_;
  bool is_open_ = false;
};

class Appointment {
 public:
  explicit Appointment(const StoreProviders& providers)
      : data_source_(*this), providers_(providers) {}
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
  friend class AppointmentDataSource;
  AppointmentDataSource data_source_;
  const StoreProviders& providers_;
};

}  // namespace orbitel::data
