#pragma once
// The days the find-a-time form and the free/busy address take and show: "2003-11-05" only, as
// a date input sends it; a day that does not exist is no day.

#include <optional>
#include <string>
#include <string_view>

#include "runtime/IsoDate.h"

namespace orbitel::schedule {

inline std::optional<Date> ParseIsoDay(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  return ParseIsoDate(text);
}

inline std::string IsoDayText(Date day) { return FormatIsoDate(day.DatePart()).substr(0, 10); }

}  // namespace orbitel::schedule
