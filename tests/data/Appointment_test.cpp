// The appointment object writing through the local store.
#include "data/Appointment.h"

#include <gtest/gtest.h>

#include "data/LocalStore.h"
#include "data/StoreFixture.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::Calendar;
using testing::Event;

constexpr const char* kDomain = "corp.example.com";

class AppointmentTest : public testing::StoreFixture {
 protected:
  std::unique_ptr<StoreFolder> Folder(const std::string& url) {
    auto folder = MakeLocalStoreProvider()->OpenFolder(url);
    EXPECT_TRUE(folder.ok()) << folder.status().description();
    return folder.ok() ? std::move(folder).value() : nullptr;
  }
  static Date Local(const char* text) { return *ParseIsoDate(text); }
};

TEST_F(AppointmentTest, SavedAppointmentIsStoredInUtc) {
  const std::string url = CreateMailbox(kDomain, "alice");
  Appointment appointment;
  appointment.Subject = "Budget";
  appointment.Location = "Room 7";
  appointment.BusyStatus = "Tentative";
  appointment.StartTime = Local("2026-11-10T09:00");
  appointment.EndTime = Local("2026-11-10T10:30");
  appointment.TextBody = "Bring numbers";
  ASSERT_TRUE(appointment.DataSource().SaveToContainer(url).ok());

  // A later item too, so the one read back must be found by its href.
  {
    Appointment probe;
    probe.Subject = "probe";
    probe.StartTime = Local("2026-11-11T09:00");
    probe.EndTime = Local("2026-11-11T09:00");
    ASSERT_TRUE(probe.DataSource().SaveToContainer(url).ok());
  }
  auto all = LocalStoreDatabase::Open(root_, kDomain);
  ASSERT_TRUE(all.ok());
  auto folder_id = (*all)->FindFolder("alice");
  auto listed = (*all)->All(**folder_id);
  ASSERT_EQ(listed->size(), 2u);
  const std::string& ics = (*listed)[0].ics;
  EXPECT_NE(ics.find("DTSTART:20261110T140000Z"), std::string::npos) << ics;
  EXPECT_NE(ics.find("DTEND:20261110T153000Z"), std::string::npos);
  EXPECT_NE(ics.find("X-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE"), std::string::npos);
  EXPECT_NE(ics.find("STATUS:TENTATIVE"), std::string::npos);

  // Read back through a fresh object: local times again, the other properties as set.
  Appointment timed;
  ASSERT_TRUE(timed.DataSource().Open(url + (*listed)[0].name).ok());
  EXPECT_EQ(timed.Subject, "Budget");
  EXPECT_EQ(timed.Location, "Room 7");
  EXPECT_EQ(timed.BusyStatus, "TENTATIVE");
  EXPECT_EQ(timed.TextBody, "Bring numbers");
  EXPECT_EQ(timed.StartTime, Local("2026-11-10T09:00"));
  EXPECT_EQ(timed.EndTime, Local("2026-11-10T10:30"));
  EXPECT_FALSE(timed.AllDayEvent);
}

TEST_F(AppointmentTest, AllDayAppointmentIsWrittenAsLocalDates) {
  const std::string url = CreateMailbox(kDomain, "alice");
  Appointment appointment;
  appointment.Subject = "Conference";
  appointment.AllDayEvent = true;
  appointment.StartTime = Local("2026-11-10");
  appointment.EndTime = Local("2026-11-12");
  ASSERT_TRUE(appointment.DataSource().SaveToContainer(url).ok());
  auto database = LocalStoreDatabase::Open(root_, kDomain);
  auto listed = (*database)->All(**(*database)->FindFolder("alice"));
  ASSERT_EQ(listed->size(), 1u);
  EXPECT_NE((*listed)[0].ics.find("DTSTART;VALUE=DATE:20261110"), std::string::npos);
  EXPECT_NE((*listed)[0].ics.find("DTEND;VALUE=DATE:20261112"), std::string::npos);

  Appointment opened;
  ASSERT_TRUE(opened.DataSource().Open(url + (*listed)[0].name).ok());
  EXPECT_TRUE(opened.AllDayEvent);
  EXPECT_EQ(opened.StartTime, Local("2026-11-10"));
  EXPECT_EQ(opened.EndTime, Local("2026-11-12"));
}

TEST_F(AppointmentTest, SavingAnOpenedItemKeepsWhatTheObjectDoesNotEdit) {
  Import(kDomain, "alice",
         Calendar(Event("meeting", "SUMMARY:Planning\nDTSTART;TZID=America/New_York:20261110T090000\n"
                                   "DTEND;TZID=America/New_York:20261110T100000\n"
                                   "ATTENDEE;CN=Bob:mailto:bob@example.com\nCATEGORIES:Blue,Green\n"
                                   "X-CUSTOM-FLAG:keep me\nRRULE:FREQ=WEEKLY;COUNT=3\n")));
  const std::string href = FolderUrlOf(kDomain, "alice") + "meeting.ics";
  Appointment appointment;
  ASSERT_TRUE(appointment.DataSource().Open(href).ok());
  EXPECT_EQ(appointment.StartTime, Local("2026-11-10T09:00"));
  appointment.Subject = "Planning (agenda attached)";
  ASSERT_TRUE(appointment.DataSource().Save().ok());

  auto folder = Folder(FolderUrlOf(kDomain, "alice"));
  auto saved = folder->ReadItem(href);
  ASSERT_TRUE(saved.ok());
  for (const char* kept : {"ATTENDEE;CN=Bob:mailto:bob@example.com", "CATEGORIES:Blue", "CATEGORIES:Green",
                           "X-CUSTOM-FLAG:keep me", "RRULE:FREQ=WEEKLY;COUNT=3",
                           "DTSTART;TZID=America/New_York:20261110T090000",
                           "SUMMARY:Planning (agenda attached)"}) {
    EXPECT_NE(saved->ics.find(kept), std::string::npos) << kept << "\n" << saved->ics;
  }
  // A second save from the same object goes on from the new version.
  appointment.Location = "Room 3";
  EXPECT_TRUE(appointment.DataSource().Save().ok());
}

TEST_F(AppointmentTest, SomeoneElsesChangeIsNotOverwritten) {
  Import(kDomain, "alice",
         Calendar(Event("shared", "SUMMARY:Shared\nDTSTART:20261110T140000Z\nDTEND:20261110T150000Z\n")));
  const std::string href = FolderUrlOf(kDomain, "alice") + "shared.ics";
  Appointment mine, theirs;
  ASSERT_TRUE(mine.DataSource().Open(href).ok());
  ASSERT_TRUE(theirs.DataSource().Open(href).ok());
  theirs.Subject = "Theirs";
  ASSERT_TRUE(theirs.DataSource().Save().ok());
  mine.Subject = "Mine";
  Status saved = mine.DataSource().Save();
  EXPECT_EQ(saved.number(), kItemChanged);
  EXPECT_NE(Folder(FolderUrlOf(kDomain, "alice"))->ReadItem(href)->ics.find("SUMMARY:Theirs"),
            std::string::npos);
}

TEST_F(AppointmentTest, MissingItemsAndFolders) {
  CreateMailbox(kDomain, "alice");
  Appointment appointment;
  EXPECT_EQ(appointment.DataSource().Open(FolderUrlOf(kDomain, "alice") + "none.ics").number(),
            errors::kCannotOpenFolder);
  EXPECT_EQ(appointment.DataSource().SaveToContainer(FolderUrlOf(kDomain, "nobody")).number(),
            errors::kCannotOpenFolder);
  EXPECT_FALSE(appointment.DataSource().Save().ok());  // nothing was opened
}

}  // namespace
}  // namespace orbitel::data
