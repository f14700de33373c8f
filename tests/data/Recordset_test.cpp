#include "data/Recordset.h"

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

// Walks the visible rows from the first, as a page lists them.
std::vector<std::string> Visible(Recordset& recordset) {
  std::vector<std::string> names;
  if (!recordset.MoveFirst().ok()) return names;
  for (; !recordset.IsEOF(); recordset.MoveNext()) names.push_back(Current(recordset));
  return names;
}

TEST(RecordsetFilter, FindsAUserByNameInAnyCase) {
  Recordset users = Users({"alice", "bob", "O'Brien"});
  ASSERT_TRUE(users.SetFilter("Users = 'bob'").ok());
  EXPECT_FALSE(users.IsEOF());
  EXPECT_EQ(Current(users), "bob");
  ASSERT_TRUE(users.SetFilter("users = 'ALICE'").ok());
  EXPECT_EQ(Current(users), "alice");
  ASSERT_TRUE(users.SetFilter("Users = 'o''brien'").ok());
  EXPECT_EQ(Current(users), "O'Brien");
  ASSERT_TRUE(users.SetFilter("Users = 'carol'").ok());
  EXPECT_TRUE(users.IsEOF());
  EXPECT_TRUE(users.IsBOF());
  EXPECT_EQ(users.VisibleCount(), 0u);
}

TEST(RecordsetFilter, ANameWithAnApostropheMakesTheFilterFail) {
  Recordset users = Users({"alice", "o'brien"});
  ASSERT_TRUE(users.SetFilter("Users = 'alice'").ok());
  Status status = users.SetFilter("Users = 'o'brien'");
  EXPECT_EQ(status.number(), errors::kFilterInvalid);
  EXPECT_EQ(status.description(),
            "Arguments are of the wrong type, are out of acceptable range, or are in conflict "
            "with one another.");
  // The previous filter and cursor stay.
  EXPECT_EQ(Current(users), "alice");
  EXPECT_EQ(users.VisibleCount(), 1u);

  EXPECT_EQ(users.SetFilter("Nobody = 'x'").number(), errors::kItemNotFoundInCollection);
  EXPECT_EQ(users.VisibleCount(), 1u);
}

TEST(RecordsetFilter, HidesRowsThatDoNotPassUntilCleared) {
  Recordset users = Users({"a", "b", "A", "c"});
  ASSERT_TRUE(users.SetFilter("Users = 'a' OR Users = 'c'").ok());
  EXPECT_EQ(Visible(users), (std::vector<std::string>{"a", "A", "c"}));
  EXPECT_EQ(users.VisibleCount(), 3u);
  EXPECT_EQ(users.rows().size(), 4u);
  ASSERT_TRUE(users.SetFilter("  ").ok());
  EXPECT_EQ(Visible(users), (std::vector<std::string>{"a", "b", "A", "c"}));
}

TEST(RecordsetEdit, DeleteEveryRowThenAddNew) {
  Recordset users = Users({"alice", "bob", "carol"});
  while (!users.IsEOF()) {
    ASSERT_TRUE(users.Delete().ok());
    ASSERT_TRUE(users.Update().ok());
    ASSERT_TRUE(users.MoveNext().ok());
  }
  EXPECT_TRUE(users.rows().empty());
  for (const char* name : {"dave", "erin"}) {
    ASSERT_TRUE(users.AddNew().ok());
    ASSERT_TRUE(users.SetField("Users", std::string(name)).ok());
    ASSERT_TRUE(users.Update().ok());
    EXPECT_EQ(Current(users), name);
  }
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"dave", "erin"}));
}

TEST(RecordsetEdit, DeleteUnderAFilterRemovesOnlyPassingRows) {
  Recordset users = Users({"x", "keep", "x", "x", "keep2"});
  ASSERT_TRUE(users.SetFilter("Users = 'x'").ok());
  while (!users.IsEOF()) {
    ASSERT_TRUE(users.Delete().ok());
    EXPECT_EQ(Current(users), "#" + std::to_string(errors::kBofOrEof));
    EXPECT_EQ(users.Delete().number(), errors::kBofOrEof);
    ASSERT_TRUE(users.MoveNext().ok());
  }
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"keep", "keep2"}));
  EXPECT_EQ(users.MoveNext().number(), errors::kBofOrEof);
}

TEST(RecordsetEdit, ChangesArePendingUntilUpdateOrAMove) {
  Recordset users = Users({"alice", "bob"});
  ASSERT_TRUE(users.SetField("USERS", std::string("alicia")).ok());
  EXPECT_EQ(Current(users), "alicia");
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"alice", "bob"}));
  ASSERT_TRUE(users.Update().ok());
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"alicia", "bob"}));

  ASSERT_TRUE(users.MoveNext().ok());
  ASSERT_TRUE(users.SetField("Users", std::string("robert")).ok());
  ASSERT_TRUE(users.MoveFirst().ok());
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"alicia", "robert"}));

  // A new row is current at once and joins the rows when the cursor moves on.
  ASSERT_TRUE(users.AddNew().ok());
  EXPECT_FALSE(users.IsEOF());
  EXPECT_TRUE(users.Field("Users")->IsEmpty());
  ASSERT_TRUE(users.SetField("Users", std::string("carol")).ok());
  EXPECT_EQ(users.rows().size(), 2u);
  ASSERT_TRUE(users.MoveFirst().ok());
  EXPECT_EQ(Stored(users), (std::vector<std::string>{"alicia", "robert", "carol"}));
}

TEST(RecordsetEdit, AnEditedRowStaysCurrentUntilTheFilterIsSetAgain) {
  Recordset users = Users({"a", "b", "a"});
  ASSERT_TRUE(users.SetFilter("Users = 'a'").ok());
  ASSERT_TRUE(users.SetField("Users", std::string("z")).ok());
  ASSERT_TRUE(users.Update().ok());
  EXPECT_EQ(Current(users), "z");
  ASSERT_TRUE(users.MoveNext().ok());
  EXPECT_EQ(Current(users), "a");
  ASSERT_TRUE(users.SetFilter("Users = 'a'").ok());
  EXPECT_EQ(users.VisibleCount(), 1u);
}

TEST(RecordsetCursor, MovesStopAtBofAndEof) {
  Recordset users = Users({"r0", "r1", "r2", "r3"});
  EXPECT_TRUE(users.Move(2).ok());
  EXPECT_EQ(Current(users), "r2");
  EXPECT_TRUE(users.Move(-1).ok());
  EXPECT_EQ(Current(users), "r1");
  EXPECT_TRUE(users.Move(0).ok());
  EXPECT_TRUE(users.Move(-5).ok());
  EXPECT_TRUE(users.IsBOF());
  EXPECT_FALSE(users.IsEOF());
  EXPECT_EQ(Current(users), "#" + std::to_string(errors::kBofOrEof));
  EXPECT_EQ(users.Move(-1).number(), errors::kBofOrEof);
  EXPECT_EQ(users.Move(0).number(), errors::kBofOrEof);
  EXPECT_TRUE(users.Move(1).ok());
  EXPECT_EQ(Current(users), "r0");
  EXPECT_TRUE(users.Move(10).ok());
  EXPECT_TRUE(users.IsEOF());
  EXPECT_EQ(users.MoveNext().number(), errors::kBofOrEof);
  EXPECT_TRUE(users.Move(-1).ok());
  EXPECT_EQ(Current(users), "r3");
}

TEST(RecordsetCursor, StepsCountOnlyPassingRowsAndStartAfterADelete) {
  Recordset users = Users({"a1", "b", "a2", "b", "a3", "a4"});
  ASSERT_TRUE(users.SetFilter("Users <> 'b'").ok());
  ASSERT_TRUE(users.Move(2).ok());
  EXPECT_EQ(Current(users), "a3");
  ASSERT_TRUE(users.Delete().ok());
  ASSERT_TRUE(users.Move(1).ok());
  EXPECT_EQ(Current(users), "a4");
  ASSERT_TRUE(users.Delete().ok());
  ASSERT_TRUE(users.Move(-1).ok());
  EXPECT_EQ(Current(users), "a2");
}

TEST(RecordsetCursor, EmptyRecordsetIsAtBothEnds) {
  Recordset empty({FieldInfo{"Users"}}, {});
  EXPECT_TRUE(empty.IsEOF());
  EXPECT_TRUE(empty.IsBOF());
  EXPECT_EQ(empty.MoveFirst().number(), errors::kBofOrEof);
  EXPECT_EQ(empty.MoveNext().number(), errors::kBofOrEof);
  EXPECT_EQ(empty.Move(-1).number(), errors::kBofOrEof);
  EXPECT_EQ(empty.SetField("Users", 1).number(), errors::kBofOrEof);
  EXPECT_TRUE(empty.Update().ok());
}

TEST(RecordsetCursor, UnknownFieldIsReportedBeforeAMissingRecord) {
  Recordset users = Users({"alice"});
  EXPECT_EQ(users.Field("Nobody").status().number(), errors::kItemNotFoundInCollection);
  EXPECT_EQ(users.SetField("Nobody", 1).number(), errors::kItemNotFoundInCollection);
  ASSERT_TRUE(users.MoveNext().ok());
  EXPECT_EQ(users.Field("Nobody").status().number(), errors::kItemNotFoundInCollection);
  EXPECT_EQ(users.Field("Users").status().number(), errors::kBofOrEof);
}

TEST(RecordsetClosed, EveryOperationFails) {
  Recordset users = Users({"alice"});
  EXPECT_TRUE(users.IsOpen());
  users.Close();
  Recordset never_opened;
  for (Recordset* closed : {&users, &never_opened}) {
    EXPECT_FALSE(closed->IsOpen());
    EXPECT_TRUE(closed->IsEOF());
    EXPECT_TRUE(closed->rows().empty());
    const Status statuses[] = {closed->Field("Users").status(), closed->SetField("Users", 1),
                               closed->MoveFirst(), closed->MoveNext(), closed->Move(1),
                               closed->SetFilter("Users = 'a'"), closed->AddNew(),
                               closed->Delete(), closed->Update()};
    for (const Status& status : statuses) {
      EXPECT_EQ(status.number(), errors::kOperationOnClosedObject);
      EXPECT_EQ(status.description(), "Operation is not allowed when the object is closed.");
    }
  }
}

}  // namespace
}  // namespace orbitel::data
