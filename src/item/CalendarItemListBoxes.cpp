// The appointment form's list boxes: the years offered, and which day, month and half hour
// is pre-selected for the start and the end.
#include <cmath>

#include "item/CalendarItem.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "site/Clock.h"

namespace orbitel::item {

namespace {

constexpr const char* kPeriodMessage = "Please use 'Start' or 'End' for the strPeriod";
constexpr const char* kTypeMessage = "Please use 'Day' or 'Month' for the strType";

std::string YearOption(int year, int selected_year) {
  const std::string text = std::to_string(year);
  return "<option" + std::string(year == selected_year ? " Selected" : "") + " value=\"" + text +
         "\">" + text + "</option>";
}

}  // namespace

std::optional<Date> CalendarItem::PeriodDate(const std::string& period) const {
  if (period == "Start") return record_.DTStart;
  if (period == "End") return record_.DTEnd;
  return std::nullopt;
}

std::string CalendarItem::RetreiveYearsForListBox(std::int16_t previous_years, std::int16_t future_years,
                                                  const std::string& period) const {
  const std::optional<Date> compared = PeriodDate(period);
  std::string options = compared ? "" : kPeriodMessage;
  const int selected = compared.value_or(site::Now()).Year();
  // The years run from today's, not the item's: the nearest previous year comes first.
  const int this_year = site::Today().Year();
  for (int i = 1; i <= previous_years; ++i) options += YearOption(this_year - i, selected);
  options += YearOption(this_year, selected);
  for (int i = 1; i <= future_years; ++i) options += YearOption(this_year + i, selected);
  return options;
}

std::string CalendarItem::CompareSelectedForListBox(const std::string& type, const std::string& period,
                                                    std::int16_t number) const {
  if (type != "Day" && type != "Month") return kTypeMessage;
  const std::optional<Date> compared = PeriodDate(period);
  if (!compared) return kPeriodMessage;
  const int part = type == "Day" ? compared->Day() : compared->Month();
  return part == number ? " Selected" : "";
}

std::string CalendarItem::RetreiveTimeForListBox(const std::string& period, const std::string& time) const {
  const std::optional<Date> compared = PeriodDate(period);
  std::string result = compared ? "" : kPeriodMessage;
  const Date item = compared.value_or(site::Now());
  // A text that is no time counts as midnight.
  const Date option = ParseDate(time).value_or(Date());
  // The item's time to the minute, as "hh:mm AM/PM" reads back.
  const Date item_time = Date::FromTime(item.Hour(), item.Minute(), 0).value_or(Date());
  const long long minutes = std::llround((item_time.serial() - option.serial()) * 24 * 60);
  if (minutes >= 0 && minutes < 30) result = " Selected";
  return result;
}

}  // namespace orbitel::item
