// Keeping, ordering and typing the items a store gathered, as every store's queries do.
#include "store/ItemQuery.h"

#include <gtest/gtest.h>

#include <optional>
#include <tuple>

#include "StoreQueries.h"
#include "runtime/ErrorNumbers.h"
#include "store/StoreItem.h"

namespace orbitel::data {
namespace {

using namespace std::string_literals;
using testing::kLocalFolder;

Date At(int year, int month, int day, int hour = 0, int minute = 0) {
  return *Date::FromParts(year, month, day)->AddMinutes(hour * 60 + minute);
}

StoreItem Item(const std::string& uid, Date start, Date end, const std::string& busy = "BUSY", int sensitivity = 0) {
  return StoreItem{std::string(kLocalFolder) + uid + ".ics", uid + ".ics", uid, "Subject " + uid, "Room " + uid,
                   start, end, false, busy, sensitivity, "", std::nullopt};
}

SelectStatement Parse(const std::string& columns, const std::string& tail) {
  auto parsed = ParseStatement("SELECT " + columns + " FROM scope('shallow traversal of \"" + kLocalFolder +
                               "\"') " + tail);
  EXPECT_TRUE(parsed.ok()) << parsed.status().description();
  return std::move(parsed).value();
}

// The uids the query keeps, in its order.
std::vector<std::string> Uids(const std::string& tail, const std::vector<StoreItem>& items) {
  Recordset rows;
  const Status run = RunItemQuery(Parse("\"urn:schemas:calendar:uid\"", tail), items, rows);
  EXPECT_TRUE(run.ok()) << run.description();
  std::vector<std::string> uids;
  for (const auto& row : rows.rows()) uids.push_back(row[0].Text());
  return uids;
}

// A week of items around the period 3 Nov 2003 to 9 Nov 2003.
std::vector<StoreItem> Week() {
  return {
      Item("inside", At(2003, 11, 4, 9), At(2003, 11, 4, 10)),
      Item("starts-before", At(2003, 11, 2, 23), At(2003, 11, 3, 1)),
      Item("ends-after", At(2003, 11, 9, 23), At(2003, 11, 10, 1)),
      Item("spans", At(2003, 11, 1), At(2003, 11, 12)),
      Item("on-bounds", At(2003, 11, 3), At(2003, 11, 9)),
      Item("private", At(2003, 11, 5, 9), At(2003, 11, 5, 10), "BUSY", 2),
      Item("confidential", At(2003, 11, 5, 11), At(2003, 11, 5, 12), "OOF", 3),
      Item("free", At(2003, 11, 6, 9), At(2003, 11, 6, 10), "FREE"),
      Item("free-lower", At(2003, 11, 6, 11), At(2003, 11, 6, 12), "free"),
      Item("tentative", At(2003, 11, 7, 9), At(2003, 11, 7, 10), "tentative"),
  };
}

// The WHERE of the pages' period query of that week.
const std::string kPeriodQuery = testing::PeriodQuery(kLocalFolder, "2003-11-03T00:00:00Z", "2003-11-09T00:00:00Z");
const std::string kPeriodWhere = kPeriodQuery.substr(kPeriodQuery.find("WHERE"));

TEST(ItemQueryWhere, KeepsTheItemsTheWhereAsksFor) {
  const std::tuple<const char*, std::string, std::vector<std::string>> cases[] = {
      {"the period query: wholly inside, not private, not free", kPeriodWhere,
       {"inside", "on-bounds", "confidential", "tentative"}},
      {"no WHERE keeps all in order", "",
       {"inside", "starts-before", "ends-after", "spans", "on-bounds", "private", "confidential",
        "free", "free-lower", "tentative"}},
      {"free in any case", "WHERE \"urn:schemas:calendar:busystatus\" = 'FrEe'", {"free", "free-lower"}},
      {"busy status reads upper case", "WHERE \"urn:schemas:calendar:busystatus\" = 'TENTATIVE'", {"tentative"}},
      {"one by its file name", "WHERE (\"DAV:displayname\" = 'ends-after.ics')", {"ends-after"}},
      {"property names in any case", "WHERE \"dav:DisplayName\" = 'spans.ics'", {"spans"}},
      {"sensitivity as a number", "WHERE \"http://schemas.microsoft.com/exchange/sensitivity\" > 1",
       {"private", "confidential"}},
      {"nothing passes", "WHERE \"DAV:displayname\" = 'none.ics'", {}},
      {"the date before the field",
       "WHERE CAST(\"2003-11-07T00:00:00Z\" as 'dateTime') < \"urn:schemas:calendar:dtstart\"",
       {"ends-after", "tentative"}},
  };
  for (const auto& [name, where, uids] : cases) EXPECT_EQ(Uids(where, Week()), uids) << name;
}

// A property the store does not know in the WHERE or ORDER BY fails the query, even over no
// items, and leaves the recordset as it was.
TEST(ItemQueryWhere, AnUnknownPropertyFailsEvenOverNoItems) {
  for (const char* tail : {"WHERE \"urn:schemas:calendar:nosuch\" = 1", "ORDER BY \"nosuch\""}) {
    for (const std::vector<StoreItem>& items : {Week(), std::vector<StoreItem>{}}) {
      Recordset rows({{"kept"}}, {{Value("unchanged")}});
      EXPECT_EQ(RunItemQuery(Parse("\"DAV:href\"", tail), items, rows).number(), errors::kItemNotFoundInCollection);
      EXPECT_EQ(rows.rows(), (std::vector<std::vector<Value>>{{Value("unchanged")}}));
    }
  }
}

TEST(ItemQueryColumns, HoldExactlyTheSelectedPropertiesTyped) {
  const std::vector<std::string> typed = {
      "urn:schemas:calendar:dtstart dateTime", "DAV:href string", "urn:schemas:calendar:alldayevent boolean",
      "urn:schemas:x:unknown string", "urn:schemas:calendar:recurrenceid dateTime",
      "http://schemas.microsoft.com/exchange/sensitivity int", "urn:schemas:httpmail:textdescription string"};
  std::string columns;
  for (const std::string& column : typed) {
    columns += (columns.empty() ? "\"" : ", \"") + column.substr(0, column.rfind(' ')) + "\"";
  }
  std::vector<StoreItem> items = {Item("a", At(2003, 11, 4, 9), At(2003, 11, 4, 10))};
  items[0].alldayevent = true;
  items[0].textdescription = "Notes";
  Recordset rows;
  ASSERT_TRUE(RunItemQuery(Parse(columns, ""), items, rows).ok());
  std::vector<std::string> fields;
  for (const FieldInfo& field : rows.fields()) fields.push_back(field.name + " " + field.type);
  EXPECT_EQ(fields, typed);
  EXPECT_EQ(rows.rows(), (std::vector<std::vector<Value>>{{Value(At(2003, 11, 4, 9)), Value(kLocalFolder + "a.ics"s),
                                                          Value(true), Value(), Value(), Value(0), Value("Notes")}}));
  // A property that was not selected is not in the recordset.
  EXPECT_EQ(rows.Field("urn:schemas:httpmail:subject").status().number(), errors::kItemNotFoundInCollection);
}

TEST(ItemQueryOrder, SortsByTheOrderByKeys) {
  std::vector<StoreItem> items = {
      Item("b", At(2003, 11, 4, 9), At(2003, 11, 4, 10)), Item("A", At(2003, 11, 3, 9), At(2003, 11, 4, 10)),
      Item("c", At(2003, 11, 4, 9), At(2003, 11, 4, 11)), Item("d", At(2003, 11, 2, 9), At(2003, 11, 4, 10)),
  };
  items[3].recurrenceid = At(2003, 11, 2, 9);
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"ORDER BY \"urn:schemas:calendar:dtstart\"", {"d", "A", "b", "c"}},
      {"ORDER BY \"urn:schemas:calendar:dtstart\" DESC, \"urn:schemas:calendar:dtend\" DESC", {"c", "b", "A", "d"}},
      {"ORDER BY \"urn:schemas:calendar:dtend\", \"urn:schemas:calendar:uid\" desc", {"d", "b", "A", "c"}},
      {"ORDER BY \"urn:schemas:calendar:uid\"", {"A", "b", "c", "d"}},  // text without case
      {"ORDER BY \"urn:schemas:calendar:recurrenceid\" DESC", {"d", "b", "A", "c"}},
  };
  for (const auto& [order_by, uids] : cases) EXPECT_EQ(Uids(order_by, items), uids) << order_by;
}

TEST(ItemQueryWindow, TakesTheBoundsOfTopLevelAndedComparisons) {
  const std::optional<Date> open;
  const Date x = At(2003, 10, 25, 13), y = At(2003, 12, 8, 13);
  const std::string cx = "CAST(\"2003-10-25T13:00:00Z\" as 'dateTime')";
  const std::string cy = "CAST(\"2003-12-08T13:00:00Z\" as 'dateTime')";
  const std::string start = "\"urn:schemas:calendar:dtstart\"", end = "\"URN:schemas:calendar:DTEND\"";
  const std::string sensitivity = "\"http://schemas.microsoft.com/exchange/sensitivity\" <> 2";
  const std::tuple<std::string, std::optional<Date>, std::optional<Date>> cases[] = {
      {kPeriodWhere.substr(6), At(2003, 11, 3), At(2003, 11, 9)},
      {cx + " <= " + start + " AND " + cy + " >= " + end, x, y},
      {cx + " < " + start + " AND " + cy + " > " + end, x, y},
      {start + " >= " + cx + " AND (" + end + " <= " + cy + " AND " + sensitivity + ")", x, y},
      {start + " >= " + cx + " AND " + start + " >= " + cy, y, open},  // the tighter bound
      {end + " <= " + cy + " AND " + end + " <= " + cx, open, x},
      {start + " >= " + cx + " OR " + end + " <= " + cy, open, open}, {"NOT " + start + " >= " + cx, open, open},
      {start + " <= " + cx + " AND " + end + " >= " + cy, open, open},  // wrong way round
      {start + " >= '2003-10-25'", open, open},  // only date values bound a scan
  };
  for (const auto& [where, start_from, end_until] : cases) {
    const TimeWindow window = WindowOf(Parse("\"DAV:href\"", "WHERE " + where).where.get());
    EXPECT_EQ(window.start_from, start_from) << where;
    EXPECT_EQ(window.end_until, end_until) << where;
  }
}

}  // namespace
}  // namespace orbitel::data
