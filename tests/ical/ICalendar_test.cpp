// Reading calendar texts into the store's items, and writing events back.
#include "ical/ICalendar.h"
#include "ical/ItemOccurrences.h"

#include <gtest/gtest.h>

#include "CalendarZone.h"
#include "runtime/DateText.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

using testing::Calendar;
using testing::Event;

using ICalendarTest = testing::NewYorkFixture;

TEST_F(ICalendarTest, EventsAreGroupedByUidWithTheZonesTheyUse) {
  const std::string zone = "BEGIN:VTIMEZONE\nTZID:Custom/Zone\nBEGIN:STANDARD\nDTSTART:19700101T000000\n"
      "TZOFFSETFROM:+0300\nTZOFFSETTO:+0300\nEND:STANDARD\nEND:VTIMEZONE\n";
  auto items = ParseCalendar("BEGIN:VCALENDAR\nVERSION:2.0\n" + zone +
      Event("one", "SUMMARY:Series\nDTSTART;TZID=Custom/Zone:20261110T120000\nRRULE:FREQ=DAILY;COUNT=3\n") +
      Event("two", "SUMMARY:Single\nDTSTART:20261110T120000Z\n") +
      Event("one", "RECURRENCE-ID;TZID=Custom/Zone:20261111T120000\nSUMMARY:Changed\n"
                   "DTSTART;TZID=Custom/Zone:20261111T130000\n") +
      "BEGIN:VTODO\nUID:todo\nSUMMARY:Left out\nEND:VTODO\nEND:VCALENDAR\n");
  ASSERT_TRUE(items.ok()) << items.status().description();
  ASSERT_EQ(items->size(), 2u);
  EXPECT_EQ((*items)[0].uid, "one");
  EXPECT_NE((*items)[0].ics.find("TZID:Custom/Zone"), std::string::npos);
  EXPECT_NE((*items)[0].ics.find("SUMMARY:Changed"), std::string::npos);
  EXPECT_EQ((*items)[1].ics.find("VTIMEZONE"), std::string::npos);
  EXPECT_EQ((*items)[1].ics.find("Left out"), std::string::npos);

  // The item's own VTIMEZONE places its times: 12:00 at +03:00 is 09:00 UTC.
  auto occurrences = ExpandItem((*items)[0].ics, UtcOfDate(At("2026-11-01T00:00:00Z")),
                                UtcOfDate(At("2026-12-01T00:00:00Z")));
  ASSERT_TRUE(occurrences.ok());
  ASSERT_EQ(occurrences->size(), 3u);
  EXPECT_EQ((*occurrences)[0].dtstart, At("2026-11-10T09:00:00Z"));
  EXPECT_EQ((*occurrences)[1].subject, "Changed");
  EXPECT_EQ((*occurrences)[1].dtstart, At("2026-11-11T10:00:00Z"));
  EXPECT_EQ(*(*occurrences)[1].recurrenceid, At("2026-11-11T09:00:00Z"));
}

TEST_F(ICalendarTest, MalformedTextIsRefusedWithItsLine) {
  const std::pair<std::string, const char*> cases[] = {
      {"BEGIN:VCALENDAR\nVERSION:2.0\nBEGIN:VEVENT\nUID:a\nDTSTART:20261110T120000Z\nEND:VCALENDAR\n",
       "line 6: END:VCALENDAR where BEGIN:VEVENT of line 3 is still open"},
      {"BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:a\nSUMMARY no colon here\nEND:VEVENT\nEND:VCALENDAR\n",
       "line 4: a line without a colon"},
      {"BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:a\nDTSTART:20261110T120000Z\nEND:VEVENT\n",
       "line 5: BEGIN:VCALENDAR of line 1 is never ended"},
      {Calendar(Event("a", "SUMMARY:ok\n") + Event("b", "DTSTART:not a time\n")),
       "line 4: an event without a valid DTSTART"},
      // Folded lines count as the lines they occupy.
      {"BEGIN:VCALENDAR\nX-LONG:folded\n  over two lines\nbroken\nEND:VCALENDAR\n", "line 4: a line without a colon"},
  };
  for (const auto& [text, error] : cases) {
    auto parsed = ParseCalendar(text);
    EXPECT_EQ(parsed.status().number(), errors::kSyntaxError) << text;
    EXPECT_EQ(parsed.status().description(), error);
  }
}

TEST_F(ICalendarTest, PropertiesInTheStoresTerms) {
  auto summary = [](const std::string& lines) {
    auto result = SummarizeItem(Calendar(Event("x", "DTSTART:20261110T120000Z\n" + lines)));
    EXPECT_TRUE(result.ok());
    return result->master;
  };
  EXPECT_EQ(summary("").busystatus, "BUSY");
  EXPECT_EQ(summary("TRANSP:TRANSPARENT\n").busystatus, "FREE");
  EXPECT_EQ(summary("STATUS:TENTATIVE\n").busystatus, "TENTATIVE");
  EXPECT_EQ(summary("STATUS:TENTATIVE\nX-MICROSOFT-CDO-BUSYSTATUS:oof\n").busystatus, "OOF");
  EXPECT_EQ(summary("CLASS:X-PERSONAL\n").sensitivity, 1);
  EXPECT_EQ(summary("CLASS:CONFIDENTIAL\n").sensitivity, 3);
  const StoreItem text = summary("SUMMARY:Plan\\, review\nLOCATION:Room 1\nDESCRIPTION:Two\\nlines\n");
  EXPECT_EQ(text.subject, "Plan, review");
  EXPECT_EQ(text.textdescription, "Two\nlines");
}

TEST_F(ICalendarTest, SpanOfARecurringItem) {
  auto finite = SummarizeItem(Calendar(Event(
      "x", "DTSTART:20261110T120000Z\nDTEND:20261110T130000Z\nRRULE:FREQ=WEEKLY;COUNT=3\n")));
  auto endless = SummarizeItem(Calendar(Event("x", "DTSTART:20261110T120000Z\nRRULE:FREQ=DAILY\n")));
  ASSERT_TRUE(finite.ok() && endless.ok());
  EXPECT_TRUE(finite->recurring);
  EXPECT_EQ(finite->span_start, UtcOfDate(At("2026-11-10T12:00:00Z")));
  EXPECT_EQ(finite->span_end, UtcOfDate(At("2026-11-24T13:00:00Z")));
  EXPECT_FALSE(endless->span_end.has_value());

  // A period holds the occurrences that overlap it, the one begun the night before included.
  auto overlapping = ExpandItem(
      Calendar(Event("x", "DTSTART:20261110T230000Z\nDTEND:20261111T010000Z\nRRULE:FREQ=DAILY;COUNT=3\n")),
      UtcOfDate(At("2026-11-11T00:00:00Z")), UtcOfDate(At("2026-11-11T12:00:00Z")));
  ASSERT_EQ(overlapping.value_or({}).size(), 1u);
  EXPECT_EQ((*overlapping)[0].dtstart, At("2026-11-10T23:00:00Z"));
}

TEST_F(ICalendarTest, EditingKeepsEveryOtherProperty) {
  const std::string original = Calendar(Event(
      "x", "SUMMARY:Old\nDTSTART;TZID=America/New_York:20261110T090000\nDURATION:PT1H\n"
           "ATTENDEE;CN=Bob:mailto:bob@example.com\nCATEGORIES:Blue\nX-CUSTOM:kept\nSTATUS:TENTATIVE\n"));
  EventEdit edit;
  edit.subject = "New";
  edit.busystatus = "Busy";
  auto edited = EditEventCalendar(original, edit);
  ASSERT_TRUE(edited.ok());
  for (const char* kept : {"ATTENDEE;CN=Bob:mailto:bob@example.com", "CATEGORIES:Blue",
                           "X-CUSTOM:kept", "DTSTART;TZID=America/New_York:20261110T090000",
                           "DURATION:PT1H", "SUMMARY:New", "X-MICROSOFT-CDO-BUSYSTATUS:BUSY"}) {
    EXPECT_NE(edited->find(kept), std::string::npos) << kept << "\n" << *edited;
  }
  EXPECT_EQ(edited->find("SUMMARY:Old"), std::string::npos);
  EXPECT_EQ(edited->find("STATUS:TENTATIVE"), std::string::npos);
  // Clients without the Microsoft property read TRANSP: busy is opaque, free transparent.
  EXPECT_NE(edited->find("TRANSP:OPAQUE"), std::string::npos);
  edit.busystatus = "Free";
  EXPECT_NE(EditEventCalendar(original, edit)->find("TRANSP:TRANSPARENT"), std::string::npos);

  // New times replace DTSTART, DTEND and DURATION.
  edit = EventEdit{};
  edit.times = EventTimes{*ParseIsoDate("2026-11-12T10:00"), *ParseIsoDate("2026-11-12T11:30"), false};
  auto moved = SummarizeItem(*EditEventCalendar(original, edit));
  ASSERT_TRUE(moved.ok());
  EXPECT_EQ(moved->master.dtstart, At("2026-11-12T15:00:00Z"));
  EXPECT_EQ(moved->master.dtend, At("2026-11-12T16:30:00Z"));
}

}  // namespace
}  // namespace orbitel::data
