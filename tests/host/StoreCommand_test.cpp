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
#include "data/LocalStoreDatabase.h"
#include "data/StoreUrl.h"
#include "host/RunOrbitel.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using orbitel::testing::Outcome;
using orbitel::testing::Quote;
using orbitel::testing::ReadWholeFile;
using orbitel::testing::RunOrbitel;
constexpr auto npos = std::string::npos;

// A calendar of appointment number n alone.
std::string Numbered(int n) {
  const std::string number = std::to_string(n);
  return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:item-" + number + "\r\nSUMMARY:Item " + number +
         "\r\nDTSTART:20260101T120000Z\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";
}
// The names in the store of appointments 0 .. count-1.
std::set<std::string> NamesUpTo(int count) {
  std::set<std::string> names;
  for (int i = 0; i < count; ++i) names.insert(orbitel::data::ItemNameOf("item-" + std::to_string(i)));
  return names;
}

// SQLite's verdict on the domain database of a store root ("ok"), and the database's item names.
std::pair<std::string, std::set<std::string>> Read(const fs::path& root) {
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
  Outcome Store(const std::string& args) const { return Orbitel("store --store-root " + Quote(root_) + " " + args); }
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

TEST_F(StoreCommandTest, HelpMisuseAndWhatIsWrongGetTheirCodeAndMessage) {
  ASSERT_EQ(Store("create-mailbox corp.example.com alice").code, 0);
  ASSERT_EQ(Store("import corp.example.com alice " + Quote(Write("one.ics", Numbered(0)))).code, 0);
  const std::string store = "store --store-root " + Quote(root_) + " ";
  std::string malformed = kTwoEvents;
  malformed.replace(malformed.find("SUMMARY:Weekly"), 14, "SUMMARY Weekly");  // line 14 loses its colon
  const std::string bad = Write("bad.ics", malformed);
  Write("full/note", "mine");
  Write("damaged/corp.example.com/store.sqlite", "not a database at all");
  fs::create_directories(dir_ + "/empty");
  const std::tuple<std::string, int, std::string> cases[] = {  // arguments, exit code, message
      {"--help", 0, "store"},
      {"store --help", 0, "create-mailbox"},
      {"nonsense", 2, ""},
      {store + "frobnicate", 2, "unknown command frobnicate"},
      {store + "import corp.example.com alice", 2, ""},
      {store + "list corp.example.com alice --from 2026-13-01", 2, ""},
      {store + "list other.example alice", 1, "no database for the domain other.example"},
      {store + "export corp.example.com carol", 1, "has no mailbox carol"},
      {store + "import corp.example.com alice " + Quote(dir_ + "/missing.ics"), 1, "missing.ics: cannot be read"},
      {store + "create-mailbox ../escape alice", 1, ""},
      {store + "import corp.example.com alice " + Quote(bad), 1, bad + ": line 14: "},
      // Backup and restore refuse what they cannot do whole, and keep the store as it was.
      {store + "backup " + Quote(dir_ + "/full"), 1, "is not empty"},
      {store + "restore " + Quote(dir_ + "/damaged"), 1, "store.sqlite"},
      {store + "restore " + Quote(dir_ + "/empty"), 1, "holds no store database"},
      {store + "restore " + Quote(dir_ + "/nowhere"), 1, "does not exist"},
  };
  for (const auto& [args, code, says] : cases) {
    const Outcome outcome = Orbitel(args);
    EXPECT_EQ(outcome.code, code) << args;
    EXPECT_NE((outcome.out + outcome.err).find(says), npos) << args << "\n" << outcome.err;
  }
  EXPECT_FALSE(fs::exists(root_ + "/other.example"));  // reading never creates a database
  // A malformed file is refused whole; a refused restore leaves the store sound.
  EXPECT_EQ(Read(root_), std::pair("ok"s, NamesUpTo(1)));
  EXPECT_EQ(ReadWholeFile(dir_ + "/full/note"), "mine");
}

TEST_F(StoreCommandTest, ImportExportImportGivesTheSameItems) {
  ASSERT_EQ(Store("create-mailbox corp.example.com alice").code, 0);
  ASSERT_EQ(Store("create-mailbox Corp.Example.com bob").code, 0);
  EXPECT_TRUE(fs::exists(root_ + "/corp.example.com/store.sqlite"));
  Outcome imported = Store("import corp.example.com alice " + Quote(Write("in.ics", kTwoEvents)));
  ASSERT_EQ(imported.code, 0) << imported.err;
  EXPECT_NE(imported.out.find("Imported 2 items"), npos);

  Outcome exported = Store("export corp.example.com alice");
  ASSERT_EQ(exported.code, 0);
  // Unknown properties, and blanks at the ends of what people typed, are kept.
  for (const char* line : {"X-CUSTOM:kept", "SUMMARY:  Planning\t \r\n", "LOCATION: Room 1 \r\n",
                           "DESCRIPTION:  two\\n  lines  \r\n"}) {
    EXPECT_NE(exported.out.find(line), npos) << line << " is not in\n" << exported.out;
  }
  ASSERT_EQ(Store("import corp.example.com bob " + Quote(Write("out.ics", exported.out))).code, 0);

  const std::string period = " --from 2026-10-01 --to 2026-11-30";
  Outcome alice = Store("list corp.example.com alice" + period);
  ASSERT_EQ(alice.code, 0);
  EXPECT_EQ(Store("list corp.example.com BOB" + period).out, alice.out);
  // The weekly meeting stays at 9:00 local across the change back to standard time.
  EXPECT_EQ(alice.out,
            "2026-10-26 09:00\t2026-10-26 09:30\tBUSY\tWeekly\n"
            "2026-11-02 09:00\t2026-11-02 09:30\tBUSY\tWeekly\n"
            "2026-11-09 09:00\t2026-11-09 09:30\tBUSY\tWeekly\n"
            "2026-11-10 09:00\t2026-11-10 10:00\tBUSY\t  Planning\t \n");
  // Importing the same file again replaces rather than duplicates.
  ASSERT_EQ(Store("import corp.example.com alice " + Quote(dir_ + "/in.ics")).code, 0);
  EXPECT_EQ(Store("list corp.example.com alice" + period).out, alice.out);
}

// The backup is one moment of a store being written to (every write acknowledged before it
// began, and no gap), sound by SQLite's own check; restoring it gives exactly that moment back.
TEST_F(StoreCommandTest, BackupWhileWritingThenRestore) {
  ASSERT_EQ(Store("create-mailbox corp.example.com alice").code, 0);
  std::atomic<int> acknowledged = 0;
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    auto database = orbitel::data::LocalStoreDatabase::Open(root_, "corp.example.com");
    ASSERT_TRUE(database.ok());
    auto folder = (*database)->FindFolder("alice");
    ASSERT_TRUE(folder.ok() && *folder);
    for (int i = 0; !stop; ++i) {
      const std::string name = orbitel::data::ItemNameOf("item-" + std::to_string(i));
      ASSERT_TRUE((*database)->Insert(**folder, name, Numbered(i)).ok());
      acknowledged = i + 1;
    }
  });
  while (acknowledged < 200) std::this_thread::yield();
  const int before = acknowledged;
  const auto backup = Store("backup " + Quote(dir_ + "/backup"));
  const int after = acknowledged;
  while (acknowledged < after + 50) std::this_thread::yield();  // writes go on after the copy
  stop = true;
  writer.join();
  ASSERT_EQ(backup.code, 0) << backup.err;
  EXPECT_NE(backup.out.find("Backed up corp.example.com"), npos) << backup.out;

  const auto copy = Read(dir_ + "/backup");
  const int copied = static_cast<int>(copy.second.size());
  EXPECT_GE(copied, before);
  EXPECT_LE(copied, after);
  EXPECT_EQ(copy, std::pair("ok"s, NamesUpTo(copied))) << "the copy is not one moment of the store";
  const auto restore = Store("restore " + Quote(dir_ + "/backup"));
  ASSERT_EQ(restore.code, 0) << restore.err;
  EXPECT_EQ(Read(root_), copy);
}

}  // namespace
