#pragma once
// The structural check of a calendar text that libical's lenient parser leaves out, so a bad
// file is refused with the line where it goes wrong: every content line has a name and a colon,
// BEGIN and END pair up, and the text is made of VCALENDARs.

#include <string>
#include <string_view>
#include <vector>

#include "runtime/Status.h"

namespace orbitel::data {

struct CalendarBlock {
  std::string_view text;          // from its BEGIN:VCALENDAR line to its END:VCALENDAR line
  std::vector<int> event_lines;   // the line of each BEGIN:VEVENT directly inside, in order
};

// The VCALENDAR blocks of the text; errors::kSyntaxError "line N: ..." (1-based) otherwise.
Result<std::vector<CalendarBlock>> SplitCalendarText(std::string_view text);

}  // namespace orbitel::data
