// `orbitel store` as an operator runs it: the built program, real store folders, exit codes
// and messages; backup and restore against a store being written to. (`store demo` fills the
// store of every demo site the other host tests serve.)
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

#include "ServerProcess.h"
#include "TempFolder.h"
#include "host/RunOrbitel.h"
#include "localstore/LocalStoreDatabase.h"
#include "store/StoreUrl.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using orbitel::testing::Outcome;
using orbitel::testing::ReadWholeFile;
using orbitel::testing::RunOrbitel;
constexpr auto npos = std::string::npos;

// SQLite's verdict on the domain database of a store root ("ok"), and the database's item names.
std::pair<std::string, std::multiset<std::string>> Read(const fs::path& root) {
  sqlite3* db = nullptr;
  sqlite3_open_v2((root / "corp.example.com" / "store.sqlite").c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  std::vector<std::string> rows;
  for (const char* sql : {"PRAGMA integrity_check", "SELECT displayname FROM items"}) {
    sqlite3_exec(db, sql, [](void* out, int, char** values, char**) {
      static_cast<std::vector<std::string>*>(out)->push_back(values[0]);
      return 0;
    }, &rows, nullptr);
  }
  sqlite3_close(db);
  return {rows.at(0), {rows.begin() + 1, rows.end()}};
}

class StoreCommandTest : public ::testing::Test {
 protected:
  void TearDown() override { fs::remove_all(dir_); }

  Outcome Orbitel(const std::string& args) const { return RunOrbitel(args, dir_, "TZ=America/New_York"); }
  Outcome Store(const std::string& args) const { return Orbitel("store --store-root " + root_ + " " + args); }
  // The file of that name in the test's folder, with the text written in it; its path.
  std::string Write(const std::string& name, const std::string& text) const {
    fs::create_directories(fs::path(dir_ + "/" + name).parent_path());
    std::ofstream(dir_ + "/" + name, std::ios::binary) << text;
    return dir_ + "/" + name;
  }

  const std::string dir_ = orbitel::testing::MakeTempFolder("orbitel-command").string(), root_ = dir_ + "/store";
};

const char* kTwoEvents =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n"
    "BEGIN:VEVENT\r\nUID:one\r\nSUMMARY:  Planning\t \r\nLOCATION: Room 1 \r\nDTSTART:20261110T140000Z\r\n"
    "DESCRIPTION:  two\\n  lines  \r\n"
    "DTEND:20261110T150000Z\r\nX-CUSTOM:kept\r\nEND:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:two\r\nSUMMARY:Weekly\r\nDTSTART;TZID=America/New_York:20261026T090000\r\n"
    "DTEND;TZID=America/New_York:20261026T093000\r\nRRULE:FREQ=WEEKLY;COUNT=3\r\nEND:VEVENT\r\n"
    "END:VCALENDAR\r\n";

// Each command, used well or not, answers with its exit code and a message; a refused one leaves
// the store as it was.
TEST_F(StoreCommandTest, CommandsAnswerWithTheirCodeAndMessage) {
  const std::string store = "store --store-root " + root_ + " ", two_events = Write("in.ics", kTwoEvents);
  std::string malformed = kTwoEvents;  // a first event of its own, and line 14 without its colon
  malformed.replace(malformed.find("UID:one"), 7, "UID:new").replace(malformed.find(":Weekly"), 1, " ");
  const std::string bad = Write("bad.ics", malformed);
  Write("full/note", "mine");
  Write("damaged/corp.example.com/store.sqlite", "not a database at all");
  fs::create_directories(dir_ + "/empty");
  const std::tuple<std::string, int, std::string> cases[] = {  // arguments, exit code, message
      {store + "create-mailbox Corp.Example.com alice", 0, ""},
      {store + "import corp.example.com alice " + two_events, 0, "Imported 2 items"},
      // Unknown properties, and blanks at the ends of what people typed, are kept.
      {store + "export corp.example.com alice", 0, "X-CUSTOM:kept"},
      {store + "export corp.example.com alice", 0, "SUMMARY:  Planning\t \r\nLOCATION: Room 1 \r\n"},
      // The weekly meeting stays at 9:00 local across the change back to standard time.
      {store + "list corp.example.com ALICE --from 2026-10-01 --to 2026-11-30", 0,
       "2026-10-26 09:00\t2026-10-26 09:30\tBUSY\tWeekly\n2026-11-02 09:00\t2026-11-02 09:30\tBUSY\tWeekly\n"},
      {store + "import corp.example.com alice " + two_events, 0, "Imported 2 items"},  // replaces, adds nothing
      {"--help", 0, "store"},
      {"store --help", 0, "create-mailbox"},
      {"nonsense", 2, ""},
      {store + "frobnicate", 2, "unknown command frobnicate"},
      {store + "import corp.example.com alice", 2, ""},
      {store + "list corp.example.com alice --from 2026-13-01", 2, ""},
      {store + "list other.example alice", 1, "no database for the domain other.example"},
      {store + "export corp.example.com carol", 1, "has no mailbox carol"},
      {store + "import corp.example.com alice " + dir_ + "/missing.ics", 1, "missing.ics: cannot be read"},
      {store + "create-mailbox ../escape alice", 1, ""},
      {store + "import corp.example.com alice " + bad, 1, bad + ": line 14: "},
      // Backup and restore refuse what they cannot do whole.
      {store + "backup " + dir_ + "/full", 1, "is not empty"},
      {store + "restore " + dir_ + "/damaged", 1, "store.sqlite"},
      {store + "restore " + dir_ + "/empty", 1, "holds no store database"},
      {store + "restore " + dir_ + "/nowhere", 1, "does not exist"},
  };
  for (const auto& [args, code, says] : cases) {
    const Outcome outcome = Orbitel(args);
    EXPECT_EQ(outcome.code, code) << args;
    EXPECT_NE((outcome.out + outcome.err).find(says), npos) << args << "\n" << outcome.out << outcome.err;
  }
  EXPECT_FALSE(fs::exists(root_ + "/other.example"));  // reading never creates a database
  const std::multiset<std::string> two = {orbitel::data::ItemNameOf("one"), orbitel::data::ItemNameOf("two")};
  EXPECT_EQ(Read(root_), std::pair("ok"s, two));
  EXPECT_EQ(ReadWholeFile(dir_ + "/full/note"), "mine");
}

// The backup is one moment of a store being written to (every write acknowledged before it
// began, and no gap), sound by SQLite's own check; restoring it gives exactly that moment back.
TEST_F(StoreCommandTest, BackupWhileWritingThenRestore) {
  ASSERT_EQ(Store("create-mailbox corp.example.com alice").code, 0);
  std::atomic<int> acknowledged = 0;
  std::atomic<bool> stop = false;
  std::vector<std::string> names;  // of the appointments written, in order
  std::thread writer([&] {
    auto database = orbitel::data::LocalStoreDatabase::Open(root_, "corp.example.com");
    ASSERT_TRUE(database.ok());
    auto folder = (*database)->FindFolder("alice");
    ASSERT_TRUE(folder.ok() && *folder);
    for (int i = 0; !stop; ++i) {
      const std::string uid = "item-" + std::to_string(i);
      names.push_back(orbitel::data::ItemNameOf(uid));
      ASSERT_TRUE((*database)->Insert(**folder, names.back(), "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:" + uid +
                                      "\r\nDTSTART:20260101T120000Z\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n").ok());
      acknowledged = i + 1;
    }
  });
  while (acknowledged < 200) std::this_thread::yield();
  const int before = acknowledged;
  const auto backup = Store("backup " + dir_ + "/backup");
  const int after = acknowledged;
  while (acknowledged < after + 50) std::this_thread::yield();  // writes go on after the copy
  stop = true;
  writer.join();
  ASSERT_EQ(backup.code, 0) << backup.err;
  EXPECT_NE(backup.out.find("Backed up corp.example.com"), npos) << backup.out;

  const auto copy = Read(dir_ + "/backup");
  const int copied = static_cast<int>(copy.second.size());
  EXPECT_GE(copied, before);
  ASSERT_LE(copied, after);
  EXPECT_EQ(copy, std::pair("ok"s, std::multiset(names.begin(), names.begin() + copied)))
      << "the copy is not one moment of the store";
  const auto restore = Store("restore " + dir_ + "/backup");
  ASSERT_EQ(restore.code, 0) << restore.err;
  EXPECT_EQ(Read(root_), copy);
}

}  // namespace
