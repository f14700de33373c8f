#include "runtime/Conversions.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "runtime/ErrorNumbers.h"
#include "runtime/Value.h"

namespace orbitel {
namespace {

template <typename T>
void ExpectError(const Result<T>& result, long number, const std::string& context) {
  ASSERT_FALSE(result.ok()) << context;
  EXPECT_EQ(result.status().number(), number) << context;
  EXPECT_EQ(result.status().description(),
            number == errors::kOverflow ? "Overflow" : "Type mismatch") << context;
}

Date At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  return *Date::FromParts(year, month, day)->AddSeconds(hour * 3600 + minute * 60 + second);
}
Date Time(int hour, int minute, int second = 0) { return *Date::FromTime(hour, minute, second); }

TEST(Numbers, NumericTexts) {
  for (const char* text : {"  12 ", "-2.5", "+7", ".5", "5.", "1,000.25", "1E-3", "&hff", "&O17"}) {
    EXPECT_TRUE(IsNumeric(text)) << text;
  }
  for (const char* text : {"", "   ", ".", "12abc", "1e", ",5", "1 2", "&HG", "&O8", "1.2.3", "1e400"}) {
    EXPECT_FALSE(IsNumeric(text)) << text;
  }
}

TEST(Numbers, TextToDouble) {
  const std::pair<const char*, double> cases[] = {
      {"1,000.25", 1000.25}, {"&HFFFF", -1}, {"&H8000", -32768}, {"&H10000", 65536}, {"&O17", 15},
  };
  for (const auto& [text, want] : cases) EXPECT_EQ(*ToDouble(text), want) << text;
  ExpectError(ToDouble("abc"), errors::kTypeMismatch, "abc");
  ExpectError(ToDouble("1e400"), errors::kOverflow, "1e400");
}

TEST(Numbers, IntegerRoundsHalfToEvenWithinSixteenBits) {
  const std::pair<double, int> cases[] = {
      {0.5, 0}, {1.5, 2}, {-2.5, -2}, {2.5001, 3}, {-32767.5, -32768}, {-32768.5, -32768},
  };
  for (const auto& [value, want] : cases) EXPECT_EQ(*ToInteger(value), want) << value;
  for (double value : {32767.5, -32768.51, std::numeric_limits<double>::quiet_NaN()}) {
    ExpectError(ToInteger(value), errors::kOverflow, std::to_string(value));
  }
  EXPECT_EQ(*ToInteger(std::string_view(" 2.5 ")), 2);
  ExpectError(ToInteger(std::string_view("40000")), errors::kOverflow, "40000");
  ExpectError(ToInteger(std::string_view("abc")), errors::kTypeMismatch, "abc");
}

TEST(Numbers, BooleanFromText) {
  EXPECT_TRUE(*ToBoolean("tRUE") && *ToBoolean("-0.5"));
  EXPECT_FALSE(*ToBoolean("False") || *ToBoolean("0"));
  for (const char* text : {"yes", "Truth"}) {
    ExpectError(ToBoolean(text), errors::kTypeMismatch, text);
  }
}

TEST(Numbers, DoubleAsText) {
  // 999999999999999.9 rounds to 15 digits before the form is chosen.
  const std::pair<double, const char*> cases[] = {
      {20.0 / 3, "6.66666666666667"}, {0.1 + 0.2, "0.3"}, {-0.0, "0"}, {-1.5e-7, "-1.5E-07"},
      {1e100, "1E+100"}, {0.000001, "0.000001"}, {123456789012345678.0, "1.23456789012346E+17"},
      {999999999999999.9, "1E+15"},
  };
  for (const auto& [value, want] : cases) EXPECT_EQ(FormatDouble(value), want);
}

TEST(DateText, NamedForms) {
  const Date morning = At(2003, 3, 5, 9, 5, 59);
  EXPECT_EQ(FormatShortDate(morning), "3/5/2003");
  EXPECT_EQ(FormatLongTime(morning), "9:05:59 AM");
  EXPECT_EQ(FormatLongDate(morning), "Wednesday, March 05, 2003");
  EXPECT_EQ(FormatGeneralDate(morning), "3/5/2003 9:05:59 AM");
  EXPECT_EQ(FormatGeneralDate(Date()), "12:00:00 AM");
  EXPECT_EQ(FormatGeneralDate(Time(10, 30)), "10:30:00 AM");
  EXPECT_EQ(FormatShortDate(At(100, 1, 1)), "1/1/0100");
}

TEST(DateText, ParsesTheAcceptedForms) {
  // "23:1" is 24:00, which carries into the next day.
  const std::pair<const char*, Date> cases[] = {
      {" 03/05/03 ", At(2003, 3, 5)}, {"3-5-45", At(1945, 3, 5)}, {"3/5/2003 12:00 AM", At(2003, 3, 5)},
      {"3/5/2003 12:30 pm", At(2003, 3, 5, 12, 30)}, {"2003-03-05T09:30", At(2003, 3, 5, 9, 30)},
      {"March 5, 2003", At(2003, 3, 5)}, {"9pm", Time(21, 0)}, {"21:30", Time(21, 30)},
      {"10:0.5", Time(10, 30)}, {"10:1", Time(11, 0)}, {"3/5/2003 23:1", At(2003, 3, 6)},
  };
  for (const auto& [text, want] : cases) {
    const Result<Date> parsed = ParseDate(text);
    ASSERT_TRUE(parsed.ok()) << text;
    EXPECT_EQ(*parsed, want) << text << " read as " << FormatGeneralDate(*parsed);
  }
}

TEST(DateText, RejectsWhatIsNoDate) {
  for (const char* text :
       {"2/29/2003", "2/29/1900", "0/5/2003", "", "24:00", "3/5", "9:60", "13:00 PM", "9",
        "2003-03-05T", "1/1/099", "10:1.5"}) {
    ExpectError(ParseDate(text), errors::kTypeMismatch, text);
  }
}

TEST(DateText, WrittenFormsReadBackUnchanged) {
  std::vector<Date> dates = {Date(), Date(-1.25), At(100, 1, 1, 23, 59, 59), At(9999, 12, 31, 12)};
  // A walk through the years in steps that vary day, month, weekday and time of day.
  for (double serial = -657434; serial < 2958465; serial += 7919.123) {
    dates.push_back(*Date(serial).AddSeconds(0));  // whole seconds
  }
  for (const Date& date : dates) {
    const std::string general = FormatGeneralDate(date);
    EXPECT_EQ(ParseDate(general).value_or(Date(-1e9)), date) << general;
    EXPECT_EQ(ParseDate(FormatShortDate(date)).value_or(Date(-1e9)), date.DatePart());
    EXPECT_EQ(ParseDate(FormatLongDate(date)).value_or(Date(-1e9)), date.DatePart())
        << FormatLongDate(date);
  }
}

TEST(TextAndValues, RuntimeTextForms) {
  EXPECT_EQ(ToUpper("Abc-xyz \xC3\xA4"), "ABC-XYZ \xC3\xA4");
  EXPECT_EQ(Trim("  a b  "), "a b");
  EXPECT_EQ(Trim("\ta "), "\ta");  // spaces only
  EXPECT_EQ(Value(true).Text(), "True");
  EXPECT_EQ(Value(At(2003, 3, 5, 9, 5, 59)).Text(), "3/5/2003 9:05:59 AM");
}

}  // namespace
}  // namespace orbitel
