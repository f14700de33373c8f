#include "data/Statement.h"

#include <gtest/gtest.h>

#include "data/StoreQueries.h"

#include <string>
#include <vector>

#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::kPeriodQuery;
using testing::kLoadQuery;
using testing::kUpdateQuery;
using testing::kDeleteQuery;
using testing::kLocalFolder;


std::string Operand(const Expression::Operand& operand) {
  if (operand.kind == Expression::Operand::Kind::kField) return operand.field;
  if (operand.literal.IsText()) return "'" + *operand.literal.AsText() + "'";
  if (operand.literal.IsDate()) return "#date#";
  return operand.literal.Text();
}

// The WHERE in prefix form: enough to see its shape and operands.
std::string Shape(const Expression* expression) {
  if (!expression) return "";
  static const char* const kOperators[] = {"=", "<>", "<", "<=", ">", ">="};
  switch (expression->kind) {
    case Expression::Kind::kCompare:
      return std::string("(") + kOperators[static_cast<int>(expression->comparison)] + " " +
             Operand(expression->left) + " " + Operand(expression->right) + ")";
    case Expression::Kind::kNot:
      return "(NOT " + Shape(expression->children[0].get()) + ")";
    default: {
      std::string out = expression->kind == Expression::Kind::kAnd ? "(AND" : "(OR";
      for (const auto& child : expression->children) out += " " + Shape(child.get());
      return out + ")";
    }
  }
}

struct PageQueryCase {
  const char* name;
  const char* text;
  std::vector<std::string> columns;
  const char* folder_url;
  const char* where;
};

TEST(StatementParse, ReadsTheQueriesThePagesSend) {
  const PageQueryCase cases[] = {
      {"period", kPeriodQuery,
       {"DAV:href", "urn:schemas:httpmail:subject", "urn:schemas:calendar:alldayevent",
        "urn:schemas:calendar:location", "urn:schemas:calendar:dtstart",
        "urn:schemas:calendar:dtend", "urn:schemas:calendar:uid"},
       kLocalFolder,
       "(AND (>= urn:schemas:calendar:dtstart #date#) (<= urn:schemas:calendar:dtend #date#) "
       "(<> http://schemas.microsoft.com/exchange/sensitivity 2) "
       "(<> urn:schemas:calendar:busystatus 'Free'))"},
      {"load", kLoadQuery,
       {"DAV:href", "urn:schemas:httpmail:subject", "DAV:displayname",
        "urn:schemas:calendar:busystatus", "urn:schemas:calendar:location",
        "urn:schemas:calendar:dtstart", "urn:schemas:calendar:dtend",
        "urn:schemas:calendar:alldayevent", "urn:schemas:calendar:recurrenceid",
        "urn:schemas:httpmail:textdescription", "urn:schemas:calendar:uid"},
       "http://mail/exchange/alice/calendar/", "(= DAV:displayname 'O'Brien.ics')"},
      {"update", kUpdateQuery, {"DAV:href", "urn:schemas:calendar:location"}, kLocalFolder,
       "(= DAV:displayname 'abc.ics')"},
      {"delete", kDeleteQuery, {"DAV:href", "urn:schemas:calendar:uid"}, kLocalFolder,
       "(= DAV:displayname 'O'Brien.ics')"},
  };
  for (const PageQueryCase& c : cases) {
    SCOPED_TRACE(c.name);
    auto parsed = ParseStatement(c.text);
    ASSERT_TRUE(parsed.ok()) << parsed.status().description();
    EXPECT_EQ(parsed->columns, c.columns);
    EXPECT_EQ(parsed->folder_url, c.folder_url);
    EXPECT_EQ(Shape(parsed->where.get()), c.where);
    EXPECT_TRUE(parsed->order_by.empty());
  }
}

struct FormCase {
  const char* text;
  std::vector<std::string> columns;
  const char* folder_url;
  const char* where;
  std::vector<std::string> order;  // property, with " DESC" when descending
};

TEST(StatementParse, AcceptsTheStatementsOtherForms) {
  const FormCase cases[] = {
      {"select \"a\" from SCOPE('shallow traversal of \"u\"')", {"a"}, "u", "", {}},
      {"  SELECT\t\"a\" ,\"b\"\r\nFROM   scope ( 'Deep  Traversal OF \"u/v/\"' )  ", {"a", "b"},
       "u/v/", "", {}},
      {"SELECT [a b], c:d FROM scope('shallow traversal of \"u\"') WHERE c:d = 1", {"a b", "c:d"},
       "u", "(= c:d 1)", {}},
      {"SELECT \"a\" FROM scope('shallow traversal of \"u\"') ORDER BY \"a\"", {"a"}, "u", "",
       {"a"}},
      {"SELECT \"a\" FROM scope('shallow traversal of \"u\"') WHERE (a = 'x') OR b <> 2 "
       "order by \"a\" DESC, b asc, c",
       {"a"}, "u", "(OR (= a 'x') (<> b 2))", {"a DESC", "b", "c"}},
  };
  for (const FormCase& c : cases) {
    SCOPED_TRACE(c.text);
    auto parsed = ParseStatement(c.text);
    ASSERT_TRUE(parsed.ok()) << parsed.status().description();
    EXPECT_EQ(parsed->columns, c.columns);
    EXPECT_EQ(parsed->folder_url, c.folder_url);
    EXPECT_EQ(Shape(parsed->where.get()), c.where);
    std::vector<std::string> order;
    for (const SortKey& key : parsed->order_by) {
      order.push_back(key.property + (key.descending ? " DESC" : ""));
    }
    EXPECT_EQ(order, c.order);
  }
}

struct ErrorCase {
  const char* name;
  std::string text;
  std::size_t position;
};

std::string ScopeWith(const std::string& inner) {
  return "SELECT \"a\" FROM scope('" + inner + "')";
}

TEST(StatementParse, RejectsMalformedTextAtTheFaultyPosition) {
  const std::string update(kUpdateQuery);
  std::string unescaped = update;
  unescaped.replace(unescaped.find("'abc.ics'"), 9, "'O'Brien.ics'");
  const std::string scoped = ScopeWith("shallow traversal of \"u\"");
  const std::size_t scope_text = scoped.find('\'') + 1;
  const std::size_t after = scoped.size() + 2;  // the first token after scoped and a blank
  const ErrorCase cases[] = {
      // 'O' ends the text; the lone apostrophe after the name opens a text that never closes.
      {"unescaped apostrophe", unescaped, unescaped.rfind('\'') + 1},
      {"missing FROM", "SELECT \"a\" scope('shallow traversal of \"u\"')", 12},
      {"empty select list", "SELECT FROM scope('shallow traversal of \"u\"')", 8},
      {"select list ends on a comma", "SELECT \"a\", FROM scope('shallow traversal of \"u\"')",
       13},
      {"no SELECT", "\"a\" FROM scope('shallow traversal of \"u\"')", 1},
      {"empty text", "", 1},
      {"unterminated scope text", "SELECT \"a\" FROM scope('shallow traversal of \"u\")",
       scope_text},
      {"no URL in scope", ScopeWith("shallow traversal of"), scope_text},
      {"empty URL in scope", ScopeWith("shallow traversal of \"\""), scope_text},
      {"unclosed URL in scope", ScopeWith("shallow traversal of \"u"), scope_text},
      {"unknown traversal", ScopeWith("wide traversal of \"u\""), scope_text},
      {"text after URL", ScopeWith("shallow traversal of \"u\" now"), scope_text},
      {"scope not quoted", "SELECT \"a\" FROM scope(\"u\")", scope_text},
      {"scope not closed", scoped.substr(0, scoped.size() - 1) + " WHERE", scoped.size() + 1},
      {"no scope", "SELECT \"a\" FROM \"u\"", 17},
      {"trailing garbage", scoped + " junk", after},
      {"trailing garbage after WHERE", scoped + " WHERE a = 1 b", after + 12},
      {"empty WHERE", scoped + " WHERE", after + 5},
      {"ORDER without BY", scoped + " ORDER \"a\"", after + 6},
      {"ORDER BY nothing", scoped + " ORDER BY", after + 8},
  };
  for (const ErrorCase& c : cases) {
    SCOPED_TRACE(c.name);
    auto parsed = ParseStatement(c.text);
    ASSERT_FALSE(parsed.ok());
    EXPECT_EQ(parsed.status().number(), errors::kSyntaxError);
    EXPECT_NE(parsed.status().description().find("position " + std::to_string(c.position)),
              std::string::npos)
        << parsed.status().description();
  }
}

}  // namespace
}  // namespace orbitel::data
