// `orbitel store backup` and `restore` against a real store being written to: the backup is one
// moment of the store (every write acknowledged before it began, and no gap), sound by SQLite's
// own check, and restoring it gives exactly that moment back.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "TempFolder.h"
#include "data/LocalStoreDatabase.h"
#include "data/StoreUrl.h"
#include "host/RunOrbitel.h"

namespace {

namespace fs = std::filesystem;
using orbitel::data::LocalStoreDatabase;
using orbitel::testing::Quote;
using orbitel::testing::RunOrbitel;

std::string ItemText(int number) {
  const std::string n = std::to_string(number);
  return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//backup test//EN\r\nBEGIN:VEVENT\r\nUID:write-" + n +
         "\r\nDTSTAMP:20261101T000000Z\r\nDTSTART:20261102T090000Z\r\nDTEND:20261102T100000Z\r\nSUMMARY:Write " + n +
         "\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";
}

// What a domain database holds: its integrity verdict and its item names.
struct Contents {
  std::string integrity;
  std::set<std::string> names;
};

Contents Read(const fs::path& database) {
  Contents contents;
  sqlite3* db = nullptr;
  sqlite3_open_v2(database.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* statement = nullptr;
  for (const char* sql : {"PRAGMA integrity_check", "SELECT displayname FROM items"}) {
    sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) {
      const std::string text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
      if (sql[0] == 'P') contents.integrity += text;
      else contents.names.insert(text);
    }
    sqlite3_finalize(statement);
  }
  sqlite3_close(db);
  return contents;
}

// The names of writes 0 .. count-1.
std::set<std::string> Written(int count) {
  std::set<std::string> names;
  for (int i = 0; i < count; ++i) names.insert(orbitel::data::ItemNameOf("write-" + std::to_string(i)));
  return names;
}

class StoreBackup : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = orbitel::testing::MakeTempFolder("orbitel-backup");
    root_ = (folder_ / "store").string();
    ASSERT_EQ(Store("create-mailbox example.org alice").code, 0);
  }
  void TearDown() override { fs::remove_all(folder_); }

  orbitel::testing::Outcome Store(const std::string& args) {
    return RunOrbitel("store --store-root " + Quote(root_) + " " + args, folder_.string());
  }
  fs::path Database(const fs::path& root) const { return root / "example.org" / "store.sqlite"; }

  fs::path folder_;
  std::string root_;
};

TEST_F(StoreBackup, WhileWritingThenRestore) {
  std::atomic<int> acknowledged = 0;
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    auto database = LocalStoreDatabase::Open(root_, "example.org");
    ASSERT_TRUE(database.ok());
    auto folder = (*database)->FindFolder("alice");
    ASSERT_TRUE(folder.ok() && *folder);
    for (int i = 0; !stop; ++i) {
      const std::string uid = "write-" + std::to_string(i);
      ASSERT_TRUE((*database)->Insert(**folder, orbitel::data::ItemNameOf(uid), ItemText(i)).ok());
      acknowledged = i + 1;
    }
  });
  while (acknowledged < 200) std::this_thread::yield();
  const int before = acknowledged;
  const auto backup = Store("backup " + Quote((folder_ / "backup").string()));
  const int after = acknowledged;
  while (acknowledged < after + 50) std::this_thread::yield();  // writes go on after the copy
  stop = true;
  writer.join();
  ASSERT_EQ(backup.code, 0) << backup.err;
  EXPECT_NE(backup.out.find("Backed up example.org"), std::string::npos) << backup.out;

  const Contents copy = Read(Database(folder_ / "backup"));
  EXPECT_EQ(copy.integrity, "ok");
  const int copied = static_cast<int>(copy.names.size());
  EXPECT_GE(copied, before);
  EXPECT_LE(copied, after);
  EXPECT_EQ(copy.names, Written(copied)) << "the copy is not one moment of the store";

  const auto restore = Store("restore " + Quote((folder_ / "backup").string()));
  ASSERT_EQ(restore.code, 0) << restore.err;
  const Contents restored = Read(Database(root_));
  EXPECT_EQ(restored.integrity, "ok");
  EXPECT_EQ(restored.names, copy.names);
}

TEST_F(StoreBackup, RefusesAndKeepsTheStore) {
  fs::create_directories(folder_ / "full");
  std::ofstream(folder_ / "full" / "note") << "mine";
  fs::create_directories(folder_ / "damaged" / "example.org");
  std::ofstream(folder_ / "damaged" / "example.org" / "store.sqlite") << "not a database at all";
  fs::create_directories(folder_ / "empty");
  std::ofstream(folder_ / "one.ics") << ItemText(0);
  ASSERT_EQ(Store("import example.org alice " + Quote((folder_ / "one.ics").string())).code, 0);
  const struct {
    std::string args;
    std::string says;
  } cases[] = {
      {"backup " + Quote((folder_ / "full").string()), "is not empty"},
      {"restore " + Quote((folder_ / "damaged").string()), "store.sqlite"},
      {"restore " + Quote((folder_ / "empty").string()), "holds no store database"},
      {"restore " + Quote((folder_ / "nowhere").string()), "does not exist"},
  };
  for (const auto& c : cases) {
    const auto outcome = Store(c.args);
    EXPECT_EQ(outcome.code, 1) << c.args;
    EXPECT_NE(outcome.err.find(c.says), std::string::npos) << c.args << "\n" << outcome.err;
  }
  const Contents after = Read(Database(root_));
  EXPECT_EQ(after.integrity, "ok");
  EXPECT_EQ(after.names, Written(1));
  EXPECT_EQ(orbitel::testing::ReadText((folder_ / "full" / "note").string()), "mine");
}

}  // namespace
