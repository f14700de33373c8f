#include "site/DateNavigation.h"

#include <optional>

#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "runtime/TextCoding.h"
#include "site/Clock.h"
#include "site/PageContext.h"
#include "site/SiteState.h"

namespace orbitel::site {

namespace {

struct Keyword {
  const char* text;
  int move;  // added to today's part
};

// A part's value: one of its keywords, else a number, else today's part.
Result<int> DatePart(const PageContext& context, const char* key, int today_part,
                     std::initializer_list<Keyword> keywords) {
  const std::optional<std::string> value = context.Request(key);
  if (!value) return today_part;
  for (const Keyword& keyword : keywords) {
    if (*value == keyword.text) return today_part + keyword.move;
  }
  if (!IsNumeric(*value)) return today_part;
  auto number = ToInteger(*value);
  if (!number.ok()) return number.status();
  return static_cast<int>(*number);
}

}  // namespace

Result<Date> RequestedDateFrom(const PageContext& context, Date today) {
  auto month = DatePart(context, "MONTH", today.Month(), {{"previousmonth", -1}, {"nextmonth", 1}});
  if (!month.ok()) return month.status();
  auto year = DatePart(context, "YEAR", today.Year(), {{"previousyear", -1}, {"nextyear", 1}});
  if (!year.ok()) return year.status();
  auto day = DatePart(context, "DAY", today.Day(),
                      {{"previousday", -1}, {"nextday", 1}, {"today", 0}});
  if (!day.ok()) return day.status();
  return Date::FromParts(*year, *month, *day);
}

std::string BuildDateLinkQuery(Date date, std::string_view user) {
  return DateLinkQueryStart(date) + DateLinkUser(user);
}

std::string DateLinkQueryStart(Date date) {
  return "?DAY=" + std::to_string(date.Day()) + "&MONTH=" + std::to_string(date.Month()) +
         "&YEAR=" + std::to_string(date.Year()) + "&USER=";
}

std::string DateLinkUser(std::string_view user) {
  // The link lands in an href: the user, whoever gave it, is escaped there.
  if (user.size() > 1) return HtmlEscape(user);
  if (const auto& context = Site().PageContext) return HtmlEscape(context->RequestText("USER"));
  return std::string();
}

Date RequestedDateValue() {
  auto date = ParseDate(Site().RequestedDate);
  return date.ok() ? *date : Today();
}

}  // namespace orbitel::site
