// `orbitel store` as an operator runs it: the built program, real store folders, exit codes
// and messages.
#include <gtest/gtest.h>

#include "TempFolder.h"
#include "host/RunOrbitel.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace {

using orbitel::testing::Outcome;
using orbitel::testing::Quote;

int LineCount(const std::string& text) {
  int lines = 0;
  for (char c : text) lines += c == '\n';
  return lines;
}

class StoreCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = orbitel::testing::MakeTempFolder("orbitel-command").string();
    root_ = dir_ + "/store";
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  Outcome Orbitel(const std::string& args) {
    return orbitel::testing::RunOrbitel(args, dir_, "TZ=America/New_York");
  }
  Outcome Store(const std::string& args) { return Orbitel("store --store-root " + Quote(root_) + " " + args); }

  std::string Write(const std::string& name, const std::string& text) {
    const std::string path = dir_ + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

  std::string dir_;
  std::string root_;
};

const char* kTwoEvents =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n"
    "BEGIN:VEVENT\r\nUID:one\r\nSUMMARY:  Planning\t \r\nLOCATION: Room 1 \r\nDTSTART:20261110T140000Z\r\n"
    "DESCRIPTION:  two\\n  lines  \r\n"
    "DTEND:20261110T150000Z\r\nX-CUSTOM:kept\r\nEND:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:two\r\nSUMMARY:Weekly\r\nDTSTART;TZID=America/New_York:20261026T090000\r\n"
    "DTEND;TZID=America/New_York:20261026T093000\r\nRRULE:FREQ=WEEKLY;COUNT=3\r\nEND:VEVENT\r\n"
    "END:VCALENDAR\r\n";

TEST_F(StoreCommandTest, HelpAndMisuse) {
  Outcome help = Orbitel("--help");
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("store"), std::string::npos);
  Outcome store_help = Orbitel("store --help");
  EXPECT_EQ(store_help.code, 0);
  EXPECT_NE(store_help.out.find("create-mailbox"), std::string::npos);
  EXPECT_EQ(Orbitel("").code, 2);
  EXPECT_EQ(Orbitel("nonsense").code, 2);
  Outcome unknown = Store("frobnicate");
  EXPECT_EQ(unknown.code, 2);
  EXPECT_NE(unknown.err.find("unknown command frobnicate"), std::string::npos);
  EXPECT_EQ(Store("import corp.example.com alice").code, 2);
  EXPECT_EQ(Store("list corp.example.com alice --from 2026-13-01").code, 2);
}

TEST_F(StoreCommandTest, ImportExportImportGivesTheSameItems) {
  ASSERT_EQ(Store("create-mailbox corp.example.com alice").code, 0);
  ASSERT_EQ(Store("create-mailbox Corp.Example.com bob").code, 0);
  EXPECT_TRUE(std::filesystem::exists(root_ + "/corp.example.com/store.sqlite"));
  Outcome imported = Store("import corp.example.com alice " + Quote(Write("in.ics", kTwoEvents)));
  ASSERT_EQ(imported.code, 0) << imported.err;
  EXPECT_NE(imported.out.find("Imported 2 items"), std::string::npos);

  Outcome exported = Store("export corp.example.com alice");
  ASSERT_EQ(exported.code, 0);
  EXPECT_NE(exported.out.find("X-CUSTOM:kept"), std::string::npos);
  // Blanks at the ends of what people typed are theirs: kept through import and export.
  EXPECT_NE(exported.out.find("SUMMARY:  Planning\t \r\n"), std::string::npos) << exported.out;
  EXPECT_NE(exported.out.find("LOCATION: Room 1 \r\n"), std::string::npos);
  EXPECT_NE(exported.out.find("DESCRIPTION:  two\\n  lines  \r\n"), std::string::npos);
  ASSERT_EQ(Store("import corp.example.com bob " + Quote(Write("out.ics", exported.out))).code, 0);

  const std::string period = " --from 2026-10-01 --to 2026-11-30";
  Outcome alice = Store("list corp.example.com alice" + period);
  Outcome bob = Store("list corp.example.com BOB" + period);
  ASSERT_EQ(alice.code, 0);
  EXPECT_EQ(alice.out, bob.out);
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

TEST_F(StoreCommandTest, MalformedFileIsRefusedWholeWithItsLine) {
  ASSERT_EQ(Store("create-mailbox corp.example.com alice").code, 0);
  std::string text = kTwoEvents;
  text.replace(text.find("SUMMARY:Weekly"), 14, "SUMMARY Weekly");  // line 14 loses its colon
  const std::string file = Write("bad.ics", text);
  Outcome refused = Store("import corp.example.com alice " + Quote(file));
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.err.find(file + ": line 14: "), std::string::npos) << refused.err;
  EXPECT_EQ(Store("list corp.example.com alice").out, "");
}

TEST_F(StoreCommandTest, LargeImportReportsProgress) {
  ASSERT_EQ(Store("create-mailbox corp.example.com alice").code, 0);
  std::ostringstream text;
  text << "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n";
  for (int i = 0; i < 2100; ++i) {
    text << "BEGIN:VEVENT\r\nUID:bulk-" << i << "\r\nSUMMARY:Item " << i
         << "\r\nDTSTART:20260101T120000Z\r\nEND:VEVENT\r\n";
  }
  text << "END:VCALENDAR\r\n";
  Outcome imported = Store("import corp.example.com alice " + Quote(Write("bulk.ics", text.str())));
  ASSERT_EQ(imported.code, 0) << imported.err;
  EXPECT_EQ(LineCount(imported.err), 2);
  EXPECT_NE(imported.err.find("imported 2000 of 2100"), std::string::npos);
  EXPECT_EQ(LineCount(Store("list corp.example.com alice").out), 2100);
}

TEST_F(StoreCommandTest, MissingStoreMailboxOrFile) {
  Outcome no_domain = Store("list corp.example.com alice");
  EXPECT_EQ(no_domain.code, 1);
  EXPECT_NE(no_domain.err.find("no database for the domain corp.example.com"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(root_));  // reading never creates the store
  ASSERT_EQ(Store("create-mailbox corp.example.com alice").code, 0);
  Outcome no_mailbox = Store("export corp.example.com carol");
  EXPECT_EQ(no_mailbox.code, 1);
  EXPECT_NE(no_mailbox.err.find("has no mailbox carol"), std::string::npos);
  Outcome no_file = Store("import corp.example.com alice " + Quote(dir_ + "/missing.ics"));
  EXPECT_EQ(no_file.code, 1);
  EXPECT_NE(no_file.err.find("missing.ics: cannot be read"), std::string::npos);
  EXPECT_EQ(Store("create-mailbox ../escape alice").code, 1);
}

TEST_F(StoreCommandTest, DemoFillsEnabledAccountsOnceAndAgainTheSame) {
  const std::string ldif = Write(
      "directory.ldif",
      "dn: DC=corp,DC=example,DC=com\nobjectClass: domain\ndc: corp\n\n"
      "dn: CN=Alice,DC=corp,DC=example,DC=com\nobjectClass: user\nsAMAccountName: alice\n\n"
      "dn: CN=Bob,DC=corp,DC=example,DC=com\nobjectClass: user\nsAMAccountName: bob\n"
      "userAccountControl: 514\n\n"
      "dn: CN=Carol,DC=corp,DC=example,DC=com\nobjectClass: user\nsAMAccountName: carol\n");
  Outcome first = Store("demo corp.example.com " + Quote(ldif));
  ASSERT_EQ(first.code, 0) << first.err;
  EXPECT_NE(first.out.find("Filled 2 mailboxes"), std::string::npos);
  const std::string alice = Store("list corp.example.com alice").out;
  const int count = LineCount(alice);
  EXPECT_GE(count, 10);
  EXPECT_LE(count, 20);
  for (const char* expected : {"\tOOF\t", "\tFREE\t", "\tTENTATIVE\t", "Doctor's appointment",
                               "Team meeting (recurring)"}) {
    EXPECT_NE(alice.find(expected), std::string::npos) << expected << "\n" << alice;
  }
  EXPECT_EQ(Store("list corp.example.com bob").code, 1);  // disabled: no mailbox

  ASSERT_EQ(Store("demo corp.example.com " + Quote(ldif)).code, 0);
  EXPECT_EQ(Store("list corp.example.com alice").out, alice);
  // Exported demo items carry the private class and the moved and cancelled occurrences.
  const std::string exported = Store("export corp.example.com alice").out;
  EXPECT_NE(exported.find("CLASS:PRIVATE"), std::string::npos);
  EXPECT_NE(exported.find("RECURRENCE-ID"), std::string::npos);
  EXPECT_NE(exported.find("EXDATE"), std::string::npos);
}

}  // namespace
