#include "data/Statement.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/ExpressionText.h"
#include "data/StoreQueries.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::kDeleteQuery;
using testing::kLoadQuery;
using testing::kLocalFolder;
using testing::kPeriodQuery;
using testing::kUpdateQuery;
using testing::Show;

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
       "(AND (>= urn:schemas:calendar:dtstart #2003-10-25T13:00:01#) "
       "(<= urn:schemas:calendar:dtend #2003-12-08T13:00:01#) "
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
    EXPECT_EQ(Show(parsed->where.get()), c.where);
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
      {"  SELECT\t\"a\" ,\"b\"\r\nFROM   scope ( 'Deep  Traversal OF \"u/v/\"' )  ", {"a", "b"},
       "u/v/", "", {}},
      {"SELECT [a b], c:d FROM scope('shallow traversal of \"u\"') WHERE c:d = 1", {"a b", "c:d"},
       "u", "(= c:d 1)", {}},
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
    EXPECT_EQ(Show(parsed->where.get()), c.where);
    std::vector<std::string> order;
    for (const SortKey& key : parsed->order_by) {
      order.push_back(key.property + (key.descending ? " DESC" : ""));
    }
    EXPECT_EQ(order, c.order);
  }
}

TEST(StatementParse, RejectsMalformedTextAtTheFaultyPosition) {
  std::string unescaped = kUpdateQuery;
  unescaped.replace(unescaped.find("'abc.ics'"), 9, "'O'Brien.ics'");
  const std::string scoped = "SELECT \"a\" FROM scope('shallow traversal of \"u\"')";
  const std::size_t after = scoped.size() + 2;  // the first token after scoped and a blank
  const std::pair<std::string, std::size_t> cases[] = {
      // 'O' ends the text; the lone apostrophe after the name opens a text that never closes.
      {unescaped, unescaped.rfind('\'') + 1},
      {"SELECT \"a\" scope('shallow traversal of \"u\"')", 12},
      {"SELECT \"a\", FROM scope('shallow traversal of \"u\"')", 13},
      {"", 1},
      {"SELECT \"a\" FROM scope('wide traversal of \"u\"')", 23},
      {"SELECT \"a\" FROM scope('shallow traversal of \"\"')", 23},
      {"SELECT \"a\" FROM \"u\"", 17},
      {scoped + " WHERE a = 1 b", after + 12},
      {scoped + " ORDER BY", after + 8},
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
