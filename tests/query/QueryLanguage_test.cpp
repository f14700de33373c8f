// The store's query language: the SELECT statements the pages send, the WHERE and filter
// expressions inside them, and how an expression judges a row.
#include <gtest/gtest.h>

#include <map>

#include "StoreQueries.h"
#include "query/Expression.h"
#include "query/SelectStatement.h"
#include "runtime/DateText.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using namespace testing;

// A parsed expression in prefix form, so that a table row states the whole parse at a glance:
// (AND (>= dtstart #2003-11-03T00:00:01#) (<> busystatus 'Free')).
std::string Show(const Expression::Operand& operand) {
  if (operand.kind == Expression::Operand::Kind::kField) return operand.field;
  const Value& value = operand.literal;
  if (value.IsText()) return "'" + *value.AsText() + "'";
  if (value.IsBoolean()) return *value.AsBoolean() ? "TRUE" : "FALSE";
  return value.IsDate() ? "#" + FormatIsoDate(*value.AsDate()) + "#" : value.Text();
}

std::string Show(const Expression* expression) {
  if (!expression) return "";
  static const char* const kOperators[] = {"=", "<>", "<", "<=", ">", ">="};
  if (expression->kind == Expression::Kind::kCompare) {
    return std::string("(") + kOperators[static_cast<int>(expression->comparison)] + " " +
           Show(expression->left) + " " + Show(expression->right) + ")";
  }
  std::string out = expression->kind == Expression::Kind::kAnd  ? "(AND"
                    : expression->kind == Expression::Kind::kOr ? "(OR" : "(NOT";
  for (const auto& child : expression->children) out += " " + Show(child.get());
  return out + ")";
}

TEST(ExpressionParse, BuildsTheTreeTheTextMeans) {
  const std::pair<const char*, const char*> cases[] = {
      {"Users = 'o''brien'", "(= Users 'o'brien')"}, {"\tUsers\r\n=  'alice'  ", "(= Users 'alice')"},
      {"\"urn:schemas:calendar:dtstart\" >= CAST(\"2003-11-03T00:00:01Z\" as 'dateTime')",
       "(>= urn:schemas:calendar:dtstart #2003-11-03T00:00:01#)"},
      {"d < cAsT('2003-11-03T10:00:00+01:00' As \"dateTime.tz\")", "(< d #2003-11-03T09:00:00#)"},
      {"[First Name] <= 'x'", "(<= First Name 'x')"}, {"\"DAV:ishidden\" = false AND \"DAV:isfolder\" = True",
       "(AND (= DAV:ishidden FALSE) (= DAV:isfolder TRUE))"},
      {"n > -1.5e2 and m < +.5 AnD k >= 7", "(AND (> n -150) (< m 0.5) (>= k 7))"},
      {"a = 1 and b <> 2 OR c < 3 or d > 4", "(OR (AND (= a 1) (<> b 2)) (< c 3) (> d 4))"},
      {"a = 1 AND (b = 2 OR c = 3)", "(AND (= a 1) (OR (= b 2) (= c 3)))"},
      {"NOT a = 1 AND b = 2", "(AND (NOT (= a 1)) (= b 2))"},
      {"((a = 1) or (not (b = 'x' and (c = 3))))", "(OR (= a 1) (NOT (AND (= b 'x') (= c 3))))"},
  };
  for (const auto& [text, tree] : cases) {
    auto parsed = ParseExpression(text);
    ASSERT_TRUE(parsed.ok()) << text << ": " << parsed.status().description();
    EXPECT_EQ(Show(parsed->get()), tree) << text;
  }
}

TEST(ExpressionParse, ReportsWhereAndWhatWentWrong) {
  const std::pair<std::string, const char*> cases[] = {
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
      // Deep nesting is refused before it exhausts the stack.
      {std::string(100000, '(') + "a = 1" + std::string(100000, ')'), "nested too deeply"},
  };
  for (const auto& [text, error] : cases) {
    auto parsed = ParseExpression(text);
    ASSERT_FALSE(parsed.ok()) << text;
    EXPECT_EQ(parsed.status().number(), errors::kSyntaxError) << text;
    const std::string& message = parsed.status().description();
    EXPECT_TRUE(message.starts_with("Syntax error at ") && message.ends_with(error)) << message;
  }
}

// One row of every kind of value, and the expressions that hold for it and that do not: texts
// compare without case, a text compared with a number, date or Boolean is converted first (and
// one that does not convert makes every comparison false), and empty equals only empty.
TEST(ExpressionEvaluate, JudgesARowOfEveryKindOfValue) {
  const std::map<std::string, Value> row = {
      {"Users", Value("alice")},  {"Name", Value("O'Brien")}, {"Count", Value("10.0")},
      {"Word", Value("abc")},     {"Number", Value(9.0)},     {"Flag", Value(true)},
      {"FlagText", Value("False")}, {"Blank", Value()},       {"Other", Value()},
      {"dtstart", Value(*ParseIsoDate("2003-11-03T09:00:00Z"))}, {"text", Value("2003-11-03T09:00:00")},
      {"us", Value("11/3/2003 9:00 AM")}, {"junk", Value("soon")}};
  const auto eval = [&row](std::string_view text) -> Result<bool> {
    auto parsed = ParseExpression(text);
    if (!parsed.ok()) return parsed.status();
    return Evaluate(**parsed, [&row](std::string_view name) -> std::optional<Value> {
      auto found = row.find(std::string(name));
      return found == row.end() ? std::nullopt : std::optional<Value>(found->second);
    });
  };
  const std::pair<bool, const char*> cases[] = {
      {true, "Users = 'ALICE'"}, {true, "Name = 'o''brien'"},
      {true, "Users < 'Bob'"},  // 'a' sorts after 'B' by byte value
      {true, "Users >= 'Alice' AND Users <= 'alice'"}, {false, "Users <> 'Alice'"},
      {false, "Users > 'ALICE' OR Users < 'ALICE'"}, {true, "Count = 10"},
      {true, "Count > 9.5 AND 9.5 < Count AND NOT 11 < Count"},
      {true, "Number < 10"},  // numerically, though "9" > "10" as text
      {true, "Number = '9'"}, {false, "Word = 5"}, {false, "Word <> 5"}, {false, "Word < 5 OR Word > 5"},
      {true, "Flag = 'True' AND Flag = TRUE AND Flag <> 'false'"}, {false, "Flag = 'yes' OR Flag <> 'yes'"},
      {true, "FlagText = false"}, {true, "dtstart > CAST(\"2003-11-03T00:00:01Z\" as 'dateTime')"},
      {true, "dtstart = CAST(\"2003-11-03T10:00:00+01:00\" as 'dateTime')"},
      {true, "dtstart < CAST(\"2003-11-04\" as 'dateTime')"},
      {true, "text = CAST(\"2003-11-03T09:00:00Z\" as 'dateTime')"},
      {true, "us = CAST(\"2003-11-03T09:00:00Z\" as 'dateTime')"},
      {false, "junk < CAST(\"2003-11-03T09:00:00Z\" as 'dateTime')"},
      {true, "Blank = '' AND Blank = Other AND Blank <> 0 AND Blank < 'a'"},
      {false, "Blank = 0 OR Blank = FALSE"}, {false, "NOT (Number = 9 OR Number = 5)"},
      {true, "NOT Number = 9 OR Number = 9"},
  };
  for (const auto& [holds, text] : cases) {
    const Result<bool> result = eval(text);
    ASSERT_TRUE(result.ok()) << text << ": " << result.status().description();
    EXPECT_EQ(*result, holds) << text;
  }
  // An unknown field fails whatever the other operands say.
  for (const char* text : {"Number = 9 OR Nobody = 'x'", "Number = 2 AND 'x' = Nobody", "NOT Nobody = 1"}) {
    EXPECT_EQ(eval(text).status().number(), errors::kItemNotFoundInCollection) << text;
  }
}

struct StatementCase {
  std::string text;
  std::vector<std::string> columns;
  std::string folder_url, where;
  std::vector<std::string> order;  // property, with " DESC" when descending
};

TEST(StatementParse, ReadsTheColumnsScopeWhereAndOrder) {
  const StatementCase cases[] = {
      // The period query exactly as the pages send it; their other queries run in the stores' tests.
      {PeriodQuery(), {"DAV:href", "urn:schemas:httpmail:subject", "urn:schemas:calendar:alldayevent",
        "urn:schemas:calendar:location", "urn:schemas:calendar:dtstart",
        "urn:schemas:calendar:dtend", "urn:schemas:calendar:uid"}, kLocalFolder,
       "(AND (>= urn:schemas:calendar:dtstart #2003-10-25T13:00:01#) "
       "(<= urn:schemas:calendar:dtend #2003-12-08T13:00:01#) "
       "(<> http://schemas.microsoft.com/exchange/sensitivity 2) "
       "(<> urn:schemas:calendar:busystatus 'Free'))", {}},
      // The statement's other forms.
      {"  SELECT\t\"a\" ,\"b\"\r\nFROM   scope ( 'Deep  Traversal OF \"u/v/\"' )  ", {"a", "b"}, "u/v/", "", {}},
      {"SELECT [a b], c:d FROM scope('shallow traversal of \"u\"') WHERE c:d = 1", {"a b", "c:d"},
       "u", "(= c:d 1)", {}},
      {"SELECT \"a\" FROM scope('shallow traversal of \"u\"') WHERE (a = 'x') OR b <> 2 order by \"a\" DESC, b asc, c",
       {"a"}, "u", "(OR (= a 'x') (<> b 2))", {"a DESC", "b", "c"}},
  };
  for (const StatementCase& c : cases) {
    SCOPED_TRACE(c.text);
    auto parsed = ParseStatement(c.text);
    ASSERT_TRUE(parsed.ok()) << parsed.status().description();
    EXPECT_EQ(parsed->columns, c.columns);
    EXPECT_EQ(parsed->folder_url, c.folder_url);
    EXPECT_EQ(Show(parsed->where.get()), c.where);
    std::vector<std::string> order;
    for (const SortKey& key : parsed->order_by) order.push_back(key.property + (key.descending ? " DESC" : ""));
    EXPECT_EQ(order, c.order);
  }
}

TEST(StatementParse, RejectsMalformedTextAtTheFaultyPosition) {
  std::string unescaped = DeleteQuery();
  unescaped.replace(unescaped.find("O''Brien"), 8, "O'Brien");
  const std::string scoped = "SELECT \"a\" FROM scope('shallow traversal of \"u\"')";
  const std::size_t after = scoped.size() + 2;  // the first token after scoped and a blank
  const std::pair<std::string, std::size_t> cases[] = {
      // 'O' ends the text; the lone apostrophe after the name opens a text that never closes.
      {unescaped, unescaped.rfind('\'') + 1}, {"SELECT \"a\" scope('shallow traversal of \"u\"')", 12},
      {"SELECT \"a\", FROM scope('shallow traversal of \"u\"')", 13}, {"", 1},
      {"SELECT \"a\" FROM scope('wide traversal of \"u\"')", 23},
      {"SELECT \"a\" FROM scope('shallow traversal of \"\"')", 23}, {"SELECT \"a\" FROM \"u\"", 17},
      {scoped + " WHERE a = 1 b", after + 12}, {scoped + " ORDER BY", after + 8},
  };
  for (const auto& [text, position] : cases) {
    auto parsed = ParseStatement(text);
    ASSERT_FALSE(parsed.ok()) << text;
    EXPECT_EQ(parsed.status().number(), errors::kSyntaxError);
    EXPECT_NE(parsed.status().description().find("position " + std::to_string(position)), std::string::npos)
        << parsed.status().description();
  }
}

}  // namespace
}  // namespace orbitel::data
