#pragma once
// One appointment as the store query hands it to the slot fillers and the block renderer: its
// texts, its all-day flag, and its times already in the server's local time.

#include <string>

#include "runtime/Date.h"

namespace orbitel::calendar {

struct AppointmentRow {
  std::string subject;      // "-=No Subject=-" when the store had none
  std::string location;
  std::string busy_status;  // empty when the query did not select it
  std::string display_name;
  bool all_day = false;
  Date local_start;
  Date local_end;
};

}  // namespace orbitel::calendar
