#pragma once
// One appointment (or one occurrence of a recurring one) as finding a time, free/busy and the
// calendar feed read it from the store: its UTC span and what it says about the person's time.

#include <optional>
#include <string>

#include "store/StoreTime.h"

namespace orbitel::schedule {

using data::UtcSeconds;

struct ScheduleItem {
  UtcSeconds start = 0;  // UTC
  UtcSeconds end = 0;
  bool all_day = false;
  std::string busy_status;  // BUSY, TENTATIVE, OOF, FREE as the store gives it
  int sensitivity = 0;      // 2: private
  std::string subject;
  std::string location;
  std::string description;
  std::string uid;
  std::optional<UtcSeconds> recurrence_id;  // set on an occurrence of a recurring series

  bool IsPrivate() const { return sensitivity == 2; }
};

}  // namespace orbitel::schedule
