#include "recordset/Recordset.h"

#include <gtest/gtest.h>

#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

Recordset Users(std::vector<std::string> names) {
  std::vector<std::vector<Value>> rows;
  for (auto& name : names) rows.push_back({Value(std::move(name))});
  return Recordset({FieldInfo{"Users"}}, std::move(rows));
}

std::string Current(const Recordset& recordset) {
  auto value = recordset.Field("Users");
  return value.ok() ? value->Text() : "#" + std::to_string(value.status().number());
}

std::vector<std::string> Stored(const Recordset& recordset) {
  std::vector<std::string> names;
  for (const auto& row : recordset.rows()) names.push_back(row[0].Text());
  return names;
}

TEST(RecordsetFilter, FindsByNameInAnyCaseAndABadFilterKeepsTheLastOne) {
  Recordset users = Users({"alice", "bob", "O'Brien", "A"});
  ASSERT_TRUE(users.SetFilter("users = 'o''brien'").ok());
  EXPECT_EQ(Current(users), "O'Brien");
  ASSERT_TRUE(users.SetFilter("Users = 'carol'").ok());
  EXPECT_TRUE(users.IsEOF() && users.IsBOF());
  ASSERT_TRUE(users.SetFilter("Users = 'ALICE' OR Users = 'a'").ok());
  EXPECT_EQ(users.VisibleCount(), 2u);
  EXPECT_EQ(users.SetFilter("Users = 'o'brien'").number(), errors::kFilterInvalid);
  EXPECT_EQ(users.SetFilter("Nobody = 'x'").number(), errors::kItemNotFoundInCollection);
  EXPECT_EQ(Current(users), "alice");
  EXPECT_EQ(users.VisibleCount(), 2u);
  ASSERT_TRUE(users.SetFilter("  ").ok());
  EXPECT_EQ(users.VisibleCount(), 4u);
}

TEST(RecordsetEdit, DeleteUnderAFilterRemovesOnlyPassingRows) {
  Recordset users = Users({"x", "keep", "x", "x", "keep2"});
  ASSERT_TRUE(users.SetFilter("Users = 'x'").ok());
  while (!users.IsEOF()) {
    ASSERT_TRUE(users.Delete().ok());
    EXPECT_EQ(users.Delete().number(), errors::kBofOrEof);
    ASSERT_TRUE(users.MoveNext().ok());
  }
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"keep", "keep2"}));
}

TEST(RecordsetEdit, ChangesArePendingUntilUpdateOrAMove) {
  Recordset users = Users({"alice", "bob"});
  ASSERT_TRUE(users.SetField("USERS", std::string("alicia")).ok());
  EXPECT_EQ(Current(users), "alicia");
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"alice", "bob"}));
  ASSERT_TRUE(users.Update().ok());
  ASSERT_TRUE(users.MoveNext().ok());
  ASSERT_TRUE(users.SetField("Users", std::string("robert")).ok());
  // A new row is current at once and joins the rows when the cursor moves on.
  ASSERT_TRUE(users.AddNew().ok());
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"alicia", "robert"}));
  ASSERT_TRUE(users.SetField("Users", std::string("carol")).ok());
  ASSERT_TRUE(users.MoveFirst().ok());
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"alicia", "robert", "carol"}));
}

TEST(RecordsetCursor, MovesCountPassingRowsAndStopAtBofAndEof) {
  Recordset users = Users({"a1", "b", "a2", "b", "a3", "a4"});
  ASSERT_TRUE(users.SetFilter("Users <> 'b'").ok());
  ASSERT_TRUE(users.Move(2).ok());
  EXPECT_EQ(Current(users), "a3");
  ASSERT_TRUE(users.Delete().ok());
  ASSERT_TRUE(users.Move(1).ok());
  EXPECT_EQ(Current(users), "a4");
  EXPECT_TRUE(users.Move(-5).ok());
  EXPECT_TRUE(users.IsBOF() && !users.IsEOF());
  EXPECT_EQ(Current(users), "#" + std::to_string(errors::kBofOrEof));
  EXPECT_EQ(users.Move(-1).number(), errors::kBofOrEof);
  EXPECT_TRUE(users.Move(10).ok());
  EXPECT_TRUE(users.IsEOF());
  EXPECT_EQ(users.MoveNext().number(), errors::kBofOrEof);
  EXPECT_TRUE(users.Move(-1).ok());
  EXPECT_EQ(Current(users), "a4");
  EXPECT_EQ(users.Field("Nobody").status().number(), errors::kItemNotFoundInCollection);
}

TEST(RecordsetClosed, EveryOperationFails) {
  Recordset users = Users({"alice"});
  users.Close();
  Recordset never_opened;
  for (Recordset* closed : {&users, &never_opened}) {
    EXPECT_TRUE(!closed->IsOpen() && closed->IsEOF() && closed->rows().empty());
    const Status statuses[] = {closed->Field("Users").status(), closed->SetField("Users", 1),
                               closed->MoveFirst(), closed->MoveNext(), closed->Move(1),
                               closed->SetFilter("Users = 'a'"), closed->AddNew(),
                               closed->Delete(), closed->Update()};
    for (const Status& status : statuses) EXPECT_EQ(status.number(), errors::kOperationOnClosedObject);
  }
}

}  // namespace
}  // namespace orbitel::data
