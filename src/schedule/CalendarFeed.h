#pragma once
// A person's appointments as an iCalendar file that calendar programs subscribe to. Each
// appointment, and each occurrence of a recurring series, is one VEVENT of its own (an
// occurrence's UID carries its recurrence time), keeping its busy status, so a program that
// imports the feed sees the same busy time. Private appointments say only "Busy", or are left
// out, as the site chooses.

#include <string>
#include <vector>

#include "schedule/ScheduleItem.h"

namespace orbitel::schedule {

enum class PrivateInFeed { kAsBusy, kLeftOut };

std::string FeedText(const std::string& calendar_name, const std::vector<ScheduleItem>& items,
                     PrivateInFeed private_items, UtcSeconds now);

}  // namespace orbitel::schedule
