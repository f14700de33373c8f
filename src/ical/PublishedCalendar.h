#pragma once
// Calendars this program publishes for other calendar programs to read (RFC 5545,
// METHOD:PUBLISH): a person's appointments as a feed of events, and their busy time as a
// VFREEBUSY. The callers decide what is told; this writes it.

#include <optional>
#include <string>
#include <vector>

#include "store/StoreTime.h"

namespace orbitel::data {

struct PublishedEvent {
  std::string uid;
  // Set on one occurrence of a series: its UID then carries the occurrence's time, so a program
  // keeps the occurrences apart.
  std::optional<UtcSeconds> recurrence_id;
  UtcSeconds start = 0;
  UtcSeconds end = 0;
  bool all_day = false;   // written as the local dates of start and end
  bool is_private = false;  // told only as "Busy", marked CLASS:PRIVATE
  std::string summary;
  std::string location;
  std::string description;
  bool blocks_time = true;  // TRANSP:OPAQUE, else TRANSPARENT
  bool tentative = false;   // STATUS:TENTATIVE
  std::string busy_status;  // X-MICROSOFT-CDO-BUSYSTATUS when not empty
};

// A VCALENDAR named calendar_name (X-WR-CALNAME) holding one VEVENT an event, stamped now.
std::string PublishedEventsText(const std::string& calendar_name, const std::vector<PublishedEvent>& events,
                                UtcSeconds now);

enum class FreeBusyType { kBusy, kTentative, kUnavailable };

struct PublishedBusy {
  UtcSeconds start = 0;
  UtcSeconds end = 0;
  FreeBusyType type = FreeBusyType::kBusy;
};

// A VCALENDAR holding one VFREEBUSY of [from, until) with one FREEBUSY line a period;
// organizer is "mailto:..." or empty for none. The same person and span give the same UID, so
// a reader replaces what it read before.
std::string PublishedFreeBusyText(const std::string& organizer, UtcSeconds from, UtcSeconds until,
                                  const std::vector<PublishedBusy>& periods, UtcSeconds now);

}  // namespace orbitel::data
