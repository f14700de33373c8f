// The appointment object writing through the local store.
#include "data/Appointment.h"

#include <gtest/gtest.h>

#include <tuple>

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
  static Date Local(const char* text) { return *ParseIsoDate(text); }
};

// Saved as UTC times or local dates, read back through a fresh object as local times again.
TEST_F(AppointmentTest, SavedAppointmentsReadBackAsTheyWereSet) {
  const std::string url = CreateMailbox(kDomain, "alice");
  Appointment timed;
  timed.Subject = "Budget";
  timed.Location = "Room 7";
  timed.BusyStatus = "Tentative";
  timed.StartTime = Local("2026-11-10T09:00");
  timed.EndTime = Local("2026-11-10T10:30");
  timed.TextBody = "Bring numbers";
  ASSERT_TRUE(timed.DataSource().SaveToContainer(url).ok());
  Appointment all_day;
  all_day.AllDayEvent = true;
  all_day.StartTime = Local("2026-11-10");
  all_day.EndTime = Local("2026-11-12");
  ASSERT_TRUE(all_day.DataSource().SaveToContainer(url).ok());

  const std::pair<Appointment*, std::vector<const char*>> saved[] = {
      {&timed, {"DTSTART:20261110T140000Z", "DTEND:20261110T153000Z",
                "X-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE", "STATUS:TENTATIVE"}},
      {&all_day, {"DTSTART;VALUE=DATE:20261110", "DTEND;VALUE=DATE:20261112"}},
  };
  for (const auto& [appointment, lines] : saved) {
    const std::string href = appointment->DataSource().href();
    auto item = MakeLocalStoreProvider()->OpenFolder(url).value()->ReadItem(href);
    ASSERT_TRUE(item.ok());
    for (const char* line : lines) EXPECT_NE(item->ics.find(line), std::string::npos) << line << item->ics;
    Appointment read;
    ASSERT_TRUE(read.DataSource().Open(href).ok());
    EXPECT_EQ(std::tie(read.Subject, read.Location, read.TextBody, read.AllDayEvent),
              std::tie(appointment->Subject, appointment->Location, appointment->TextBody,
                       appointment->AllDayEvent));
    EXPECT_EQ(std::tie(read.StartTime, read.EndTime), std::tie(appointment->StartTime, appointment->EndTime));
  }
  Appointment read;
  ASSERT_TRUE(read.DataSource().Open(timed.DataSource().href()).ok());
  EXPECT_EQ(read.BusyStatus, "TENTATIVE");
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

  auto saved = MakeLocalStoreProvider()->OpenFolder(FolderUrlOf(kDomain, "alice")).value()->ReadItem(href);
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
