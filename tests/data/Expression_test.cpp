#include "data/Expression.h"

#include <gtest/gtest.h>

#include <map>

#include "data/ExpressionText.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::Show;

struct ParseCase {
  const char* text;
  const char* tree;
};

TEST(ExpressionParse, BuildsTheTreeTheTextMeans) {
  const ParseCase cases[] = {
      {"Users = 'alice'", "(= Users 'alice')"},
      {"Users = 'o''brien'", "(= Users 'o'brien')"},
      {"\tUsers\r\n=  'alice'  ", "(= Users 'alice')"},
      {"\"urn:schemas:calendar:dtstart\" >= CAST(\"2003-11-03T00:00:01Z\" as 'dateTime')",
       "(>= urn:schemas:calendar:dtstart #2003-11-03T00:00:01#)"},
      {"d < cAsT('2003-11-03T10:00:00+01:00' As \"dateTime.tz\")", "(< d #2003-11-03T09:00:00#)"},
      {"[First Name] <= 'x'", "(<= First Name 'x')"},
      {"\"DAV:ishidden\" = false AND \"DAV:isfolder\" = True",
       "(AND (= DAV:ishidden FALSE) (= DAV:isfolder TRUE))"},
      {"n > -1.5e2 and m < +.5 AnD k >= 7", "(AND (> n -150) (< m 0.5) (>= k 7))"},
      {"a = 1 and b <> 2 OR c < 3 or d > 4", "(OR (AND (= a 1) (<> b 2)) (< c 3) (> d 4))"},
      {"a = 1 AND (b = 2 OR c = 3)", "(AND (= a 1) (OR (= b 2) (= c 3)))"},
      {"NOT a = 1 AND b = 2", "(AND (NOT (= a 1)) (= b 2))"},
      {"((a = 1) or (not (b = 'x' and (c = 3))))",
       "(OR (= a 1) (NOT (AND (= b 'x') (= c 3))))"},
  };
  for (const ParseCase& test : cases) {
    auto parsed = ParseExpression(test.text);
    ASSERT_TRUE(parsed.ok()) << test.text << ": " << parsed.status().description();
    EXPECT_EQ(Show(parsed->get()), test.tree) << test.text;
  }
}

TEST(ExpressionParse, ReportsWhereAndWhatWentWrong) {
  const ParseCase cases[] = {
      {"", "position 1: expected a name, text or number but found end of text"},
      {"Users = 'o'brien'", "position 17: unterminated text"},
      {"\"Users = 1", "position 1: unterminated quoted name"},
      {"Users 'alice'", "position 7: expected a comparison operator but found 'alice'"},
      {"(a = 1", "position 7: expected ')' but found end of text"},
      {"a = 1 b = 2", "position 7: expected end of text but found b"},
      {"a == 1", "position 4: expected a name, text or number but found ="},
      {"a ! 1", "position 3: unexpected character '!'"},
      {"Name = 'Zoë' )", "position 14: expected end of text but found )"},
      {"x = CAST(\"yesterday\" AS 'dateTime')", "position 10: cannot convert \"yesterday\" to dateTime"},
      {"x = CAST('1' AS 'blob')", "position 17: unknown type 'blob'"},
      {"x = 1e999", "position 5: number 1e999 is out of range"},
  };
  for (const ParseCase& test : cases) {
    auto parsed = ParseExpression(test.text);
    ASSERT_FALSE(parsed.ok()) << test.text;
    EXPECT_EQ(parsed.status().number(), errors::kSyntaxError) << test.text;
    EXPECT_EQ(parsed.status().description(), std::string("Syntax error at ") + test.tree)
        << test.text;
  }
}

TEST(ExpressionParse, RefusesNestingThatWouldExhaustTheStack) {
  const std::string deep = std::string(100000, '(') + "a = 1" + std::string(100000, ')');
  auto parsed = ParseExpression(deep);
  ASSERT_FALSE(parsed.ok());
  EXPECT_NE(parsed.status().description().find("nested too deeply"), std::string::npos);
}

class ExpressionEvaluate : public ::testing::Test {
 protected:
  Result<bool> Eval(std::string_view text) {
    auto parsed = ParseExpression(text);
    if (!parsed.ok()) return parsed.status();
    return Evaluate(**parsed, [this](std::string_view name) -> std::optional<Value> {
      auto found = row.find(std::string(name));
      if (found == row.end()) return std::nullopt;
      return found->second;
    });
  }
  bool True(std::string_view text) {
    auto result = Eval(text);
    EXPECT_TRUE(result.ok()) << text << ": " << result.status().description();
    return result.ok() && *result;
  }

  std::map<std::string, Value> row;
};

TEST_F(ExpressionEvaluate, ComparesTextsIgnoringCase) {
  row = {{"Users", Value("alice")}, {"Name", Value("O'Brien")}};
  EXPECT_TRUE(True("Users = 'ALICE'"));
  EXPECT_TRUE(True("Name = 'o''brien'"));
  EXPECT_TRUE(True("Users < 'Bob'"));  // 'a' sorts after 'B' by byte value
  EXPECT_TRUE(True("Users >= 'Alice' AND Users <= 'alice'"));
  EXPECT_FALSE(True("Users <> 'Alice'"));
  EXPECT_FALSE(True("Users > 'ALICE' OR Users < 'ALICE'"));
}

TEST_F(ExpressionEvaluate, ConvertsTextToTheOtherSidesType) {
  row = {{"Count", Value("10.0")}, {"Word", Value("abc")}, {"Number", Value(9.0)},
         {"Flag", Value(true)}, {"FlagText", Value("False")}};
  EXPECT_TRUE(True("Count = 10"));
  EXPECT_TRUE(True("Count > 9.5 AND 9.5 < Count AND NOT 11 < Count"));
  EXPECT_TRUE(True("Number < 10"));       // numerically, though "9" > "10" as text
  EXPECT_TRUE(True("Number = '9'"));
  EXPECT_FALSE(True("Word = 5"));         // not convertible: every comparison is false
  EXPECT_FALSE(True("Word <> 5"));
  EXPECT_FALSE(True("Word < 5 OR Word > 5"));
  EXPECT_TRUE(True("Flag = 'True' AND Flag = TRUE AND Flag <> 'false'"));
  EXPECT_FALSE(True("Flag = 'yes' OR Flag <> 'yes'"));
  EXPECT_TRUE(True("FlagText = false"));
}

TEST_F(ExpressionEvaluate, ComparesDatesAsMoments) {
  const Date start = Date(Date::FromParts(2003, 11, 3)->serial() + 9.0 / 24);  // 09:00
  row = {{"dtstart", Value(start)},
         {"text", Value("2003-11-03T09:00:00")},
         {"us", Value("11/3/2003 9:00 AM")},
         {"junk", Value("soon")}};
  EXPECT_TRUE(True("dtstart > CAST(\"2003-11-03T00:00:01Z\" as 'dateTime')"));
  EXPECT_TRUE(True("dtstart = CAST(\"2003-11-03T10:00:00+01:00\" as 'dateTime')"));
  EXPECT_TRUE(True("dtstart < CAST(\"2003-11-04\" as 'dateTime')"));
  EXPECT_TRUE(True("text = CAST(\"2003-11-03T09:00:00Z\" as 'dateTime')"));
  EXPECT_TRUE(True("us = CAST(\"2003-11-03T09:00:00Z\" as 'dateTime')"));
  EXPECT_FALSE(True("junk < CAST(\"2003-11-03T09:00:00Z\" as 'dateTime')"));
}

TEST_F(ExpressionEvaluate, EmptyAndLogicAndUnknownFields) {
  row = {{"Blank", Value()}, {"Other", Value()}, {"a", Value(1)}};
  EXPECT_TRUE(True("Blank = '' AND Blank = Other AND Blank <> 0 AND Blank < 'a'"));
  EXPECT_FALSE(True("Blank = 0 OR Blank = FALSE"));
  EXPECT_FALSE(True("NOT (a = 1 OR a = 5)"));
  EXPECT_TRUE(True("NOT a = 1 OR a = 1"));
  // An unknown field fails whatever the other operands say.
  for (const char* text : {"a = 1 OR Nobody = 'x'", "a = 2 AND 'x' = Nobody", "NOT Nobody = 1"}) {
    EXPECT_EQ(Eval(text).status().number(), errors::kItemNotFoundInCollection) << text;
  }
}

}  // namespace
}  // namespace orbitel::data
