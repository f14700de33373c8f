#include "runtime/Conversions.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <utility>

#include "runtime/DateText.h"
#include "runtime/Value.h"

namespace orbitel {
namespace {

// A conversion's value as text, or its error ("error 13 Type mismatch").
template <typename T>
std::string Shown(const Result<T>& result) {
  std::ostringstream text;
  if (!result.ok()) text << "error " << result.status().number() << " " << result.status().description();
  else if constexpr (std::is_same_v<T, Date>) text << FormatGeneralDate(*result);
  else text << std::boolalpha << *result;
  return text.str();
}
constexpr char kMismatch[] = "error 13 Type mismatch", kOverflow[] = "error 6 Overflow";

Date At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  return *Date::FromParts(year, month, day)->AddSeconds(hour * 3600 + minute * 60 + second);
}

TEST(Numbers, NumericTexts) {
  for (const char* text : {"  12 ", "-2.5", "+7", ".5", "5.", "1,000.25", "1E-3", "&hff", "&O17"}) {
    EXPECT_TRUE(IsNumeric(text)) << text;
  }
  for (const char* text : {"", "   ", ".", "12abc", "1e", ",5", "1 2", "&HG", "&O8", "1.2.3", "1e400"}) {
    EXPECT_FALSE(IsNumeric(text)) << text;
  }
}

// Integers round half to even and stay within sixteen bits; "23:1" is 24:00, which carries into
// the next day.
TEST(Numbers, AndDatesAreReadFromTextOrSayWhyNot) {
  const std::pair<std::string, const char*> cases[] = {
      {Shown(ToDouble("1,000.25")), "1000.25"}, {Shown(ToDouble("&HFFFF")), "-1"},
      {Shown(ToDouble("&H8000")), "-32768"}, {Shown(ToDouble("&H10000")), "65536"}, {Shown(ToDouble("&O17")), "15"},
      {Shown(ToDouble("abc")), kMismatch}, {Shown(ToDouble("1e400")), kOverflow},
      {Shown(ToInteger(0.5)), "0"}, {Shown(ToInteger(1.5)), "2"}, {Shown(ToInteger(-2.5)), "-2"},
      {Shown(ToInteger(2.5001)), "3"}, {Shown(ToInteger(-32767.5)), "-32768"}, {Shown(ToInteger(-32768.5)), "-32768"},
      {Shown(ToInteger(32767.5)), kOverflow}, {Shown(ToInteger(-32768.51)), kOverflow},
      {Shown(ToInteger(std::numeric_limits<double>::quiet_NaN())), kOverflow},
      {Shown(ToInteger(std::string_view(" 2.5 "))), "2"}, {Shown(ToInteger(std::string_view("40000"))), kOverflow},
      {Shown(ToInteger(std::string_view("abc"))), kMismatch},
      {Shown(ToBoolean("tRUE")), "true"}, {Shown(ToBoolean("-0.5")), "true"}, {Shown(ToBoolean("False")), "false"},
      {Shown(ToBoolean("0")), "false"}, {Shown(ToBoolean("yes")), kMismatch}, {Shown(ToBoolean("Truth")), kMismatch},
      {Shown(ParseDate(" 03/05/03 ")), "3/5/2003"}, {Shown(ParseDate("3-5-45")), "3/5/1945"},
      {Shown(ParseDate("3/5/2003 12:00 AM")), "3/5/2003"}, {Shown(ParseDate("9pm")), "9:00:00 PM"},
      {Shown(ParseDate("3/5/2003 12:30 pm")), "3/5/2003 12:30:00 PM"}, {Shown(ParseDate("21:30")), "9:30:00 PM"},
      {Shown(ParseDate("2003-03-05T09:30")), "3/5/2003 9:30:00 AM"}, {Shown(ParseDate("March 5, 2003")), "3/5/2003"},
      {Shown(ParseDate("10:0.5")), "10:30:00 AM"}, {Shown(ParseDate("10:1")), "11:00:00 AM"},
      {Shown(ParseDate("3/5/2003 23:1")), "3/6/2003"}, {Shown(ParseDate("Wednesday, March 05, 2003")), "3/5/2003"},
      {Shown(ParseDate("3/5/2003 9:05:59 AM")), "3/5/2003 9:05:59 AM"}, {Shown(ParseDate("1/1/0100")), "1/1/0100"},
  };
  for (const auto& [shown, want] : cases) EXPECT_EQ(shown, want);
  for (const char* text : {"2/29/2003", "2/29/1900", "0/5/2003", "", "24:00", "3/5", "9:60", "13:00 PM", "9",
                           "2003-03-05T", "1/1/099", "10:1.5"}) {
    EXPECT_EQ(Shown(ParseDate(text)), kMismatch) << text;
  }
}

TEST(TextAndValues, WrittenForms) {
  const Date morning = At(2003, 3, 5, 9, 5, 59);
  // 999999999999999.9 rounds to 15 digits before the form is chosen; Trim takes spaces only.
  const std::pair<std::string, const char*> cases[] = {
      {FormatShortDate(morning), "3/5/2003"}, {FormatLongTime(morning), "9:05:59 AM"},
      {FormatLongDate(morning), "Wednesday, March 05, 2003"}, {FormatGeneralDate(morning), "3/5/2003 9:05:59 AM"},
      {FormatGeneralDate(Date()), "12:00:00 AM"}, {FormatGeneralDate(*Date::FromTime(10, 30, 0)), "10:30:00 AM"},
      {FormatShortDate(At(100, 1, 1)), "1/1/0100"}, {Value(morning).Text(), "3/5/2003 9:05:59 AM"},
      {FormatDouble(20.0 / 3), "6.66666666666667"}, {FormatDouble(0.1 + 0.2), "0.3"}, {FormatDouble(-0.0), "0"},
      {FormatDouble(-1.5e-7), "-1.5E-07"}, {FormatDouble(1e100), "1E+100"}, {FormatDouble(0.000001), "0.000001"},
      {FormatDouble(123456789012345678.0), "1.23456789012346E+17"}, {FormatDouble(999999999999999.9), "1E+15"},
      {Value(true).Text(), "True"}, {ToUpper("Abc-xyz \xC3\xA4"), "ABC-XYZ \xC3\xA4"}, {Trim("  a b  "), "a b"},
      {Trim("\ta "), "\ta"},
  };
  for (const auto& [shown, want] : cases) EXPECT_EQ(shown, want);
}

}  // namespace
}  // namespace orbitel
