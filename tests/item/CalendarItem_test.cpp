// The appointment page's object against a real local store: loading an item into the form,
// the form's list boxes, and adding, changing and deleting items from a posted form.
#include <gtest/gtest.h>

#include <map>

#include "item/CalendarItem.h"
#include "localstore/LocalStoreDatabase.h"
#include "site/SiteSettings.h"
#include "views/ViewFixture.h"

namespace orbitel::item {
namespace {

using views::testing::Event;
using views::testing::Timed;

class CalendarItemTest : public views::testing::ViewFixture {
 protected:
  void SetUp() override {
    ViewFixture::SetUp();
    site::Site().SettingsLoaded = true;
    site::GetSiteVars();
    ASSERT_TRUE(site::Site().SettingsLoaded) << ErrorLog();
  }

  using Fields = std::map<std::string, std::string>;
  // A page started with these request values (the form's, or the query's).
  CalendarItem& Page(const Fields& values) {
    auto context = std::make_shared<site::MemoryPageContext>();
    for (auto& [key, value] : values) context->Form(key, value);
    page_ = std::make_unique<CalendarItem>();
    page_->OnStartPage(context);
    return *page_;
  }
  CalendarItem& Loaded(const std::string& user, const std::string& name) {
    CalendarItem& page = Page({{"UserName", user}, {"Name", name}});
    page.LoadCalendarItem();
    return page;
  }
  // A form posting 10:00 AM to 11:00 AM on 6 November 2003 unless told otherwise.
  static Fields Form(Fields changes) {
    changes.merge(Fields{{"UserName", "alice"}, {"subject", "Planning"}, {"location", "Room 2"},
                         {"busystatus", "BUSY"}, {"txtMsgBody", "Agenda"}, {"StartYear", "2003"},
                         {"StartMonth", "11"}, {"StartDay", "6"}, {"StartTime", "10:00 AM"}, {"EndYear", "2003"},
                         {"EndMonth", "11"}, {"EndDay", "6"}, {"EndTime", "11:00 AM"}});
    return changes;
  }
  // Every item of alice's calendar in start order, as "name|subject|start|end" (local times).
  std::vector<std::string> Items() {
    auto database = data::LocalStoreDatabase::Open(store_root_, views::testing::kDomain);
    const auto all = (*database)->All(*(*database)->FindFolder("alice").value());
    std::vector<std::string> items;
    for (const auto& item : *all) {
      CalendarItem& page = Loaded("alice", item.name);
      items.push_back(item.name + "|" + page.PrintCItemSubject() + "|" + page.PrintCItemDTStart() + "|" +
                      page.PrintCItemDTEnd());
    }
    return items;
  }

  std::unique_ptr<CalendarItem> page_;
};

TEST_F(CalendarItemTest, LoadsAnItemIntoTheFormInLocalTimeOrSaysWhyNot) {
  Import("alice", Event("O'Brien", "SUMMARY:Meet O'Brien\r\nDTSTART:20031104T140000Z\r\n"
                                   "DTEND:20031104T150000Z\r\nLOCATION:Room 2\r\nDESCRIPTION:Bring notes\r\n"
                                   "STATUS:TENTATIVE\r\n"));
  CalendarItem& page = Loaded("alice", "O'Brien.ics");  // the apostrophe is doubled in the query
  EXPECT_EQ(page.PrintGenerateErrors() + page.PrintCItemSubject() + "|" + page.PrintCItemDTStart() + "|" +
                page.PrintCItemDTEnd() + "|" + page.PrintCItemLocation() + "|" + page.PrintCItemBody() + "|" +
                page.PrintCItemBusyStatus("tentative") + "|" + page.PrintCItemBusyStatus("BUSY") + "|" +
                page.PrintIsAllDayEvent(),
            "Meet O'Brien|11/4/2003 9:00:00 AM|11/4/2003 10:00:00 AM|Room 2|Bring notes|Selected||");

  // No name, or a name nobody has: a fresh form dated now, and no message.
  for (const char* name : {"", "nobody.ics"}) {
    CalendarItem& fresh = Loaded("alice", name);
    EXPECT_EQ(fresh.PrintCItemSubject() + fresh.PrintGenerateErrors() + fresh.PrintCItemDTStart() + "|" +
                  fresh.PrintCItemDTEnd(),
              "11/5/2003 10:40:00 AM|11/5/2003 10:40:00 AM") << name;
  }
  // A calendar out of reach, or no domain at all, is said.
  EXPECT_NE(Loaded("nobody", "x.ics").PrintGenerateErrors().find("Orbitel does not have access to nobody's"),
            std::string::npos);
  site::Site().SettingsLoaded = false;
  EXPECT_NE(Loaded("alice", "x.ics").PrintGenerateErrors().find("No domain was found on this computer."),
            std::string::npos);
}

TEST_F(CalendarItemTest, ListBoxesSelectTheItemsYearDayMonthAndHalfHour) {
  Import("alice", Timed("Late", "20041231T233000", "20050101T000000") +
                      Timed("Half", "20031104T093000", "20031104T095900"));
  CalendarItem& late = Loaded("alice", "Late.ics");
  EXPECT_EQ(late.RetreiveYearsForListBox(2, 2, "Start"),
            "<option value=\"2002\">2002</option><option value=\"2001\">2001</option>"
            "<option value=\"2003\">2003</option><option Selected value=\"2004\">2004</option>"
            "<option value=\"2005\">2005</option>");
  EXPECT_EQ(late.RetreiveYearsForListBox(0, 0, "End"), "<option value=\"2003\">2003</option>");
  EXPECT_EQ(late.CompareSelectedForListBox("Day", "Start", 31) + "|" +
                late.CompareSelectedForListBox("Month", "End", 1) + "|" + late.CompareSelectedForListBox("Month", "End", 12) + "|" +
                late.RetreiveTimeForListBox("Start", "11:30 PM") + "|" + late.RetreiveTimeForListBox("End", "12:00 AM"),
            " Selected| Selected|| Selected| Selected");

  CalendarItem& half = Loaded("alice", "Half.ics");  // 9:59 is still in the half hour from 9:30
  EXPECT_EQ(half.RetreiveTimeForListBox("Start", "9:30 AM") + "|" + half.RetreiveTimeForListBox("Start", "9:00 AM") +
                "|" + half.RetreiveTimeForListBox("End", "9:30 AM"),
            " Selected|| Selected");
}

TEST_F(CalendarItemTest, AddingKeepsEndAfterStartAndAllDayAtMidnight) {
  EXPECT_EQ(Page(Form({{"Method", "New"}, {"EndTime", "9:00 AM"}})).AddCalendarItem(), "");
  EXPECT_EQ(Page(Form({{"Method", "New"}, {"subject", "Away"}, {"chkAllDay", "on"}, {"EndDay", "7"}}))
                .AddCalendarItem(),
            "");
  EXPECT_EQ(Page(Form({{"Method", "Old"}})).AddCalendarItem(), "");  // not a new item: nothing written
  const std::vector<std::string> items = Items();
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].substr(items[0].find('|')), "|Away|11/6/2003|11/7/2003");
  EXPECT_EQ(items[1].substr(items[1].find('|')), "|Planning|11/6/2003 10:00:00 AM|11/6/2003 10:30:00 AM");

  // Posted dates that make no date are refused, and nothing is written.
  EXPECT_NE(Page(Form({{"Method", "New"}, {"StartDay", "x"}})).AddCalendarItem().find("Nothing was saved"),
            std::string::npos);
  EXPECT_EQ(Items().size(), 2u);
}

TEST_F(CalendarItemTest, UpdatingChangesTheItemButAnOccurrenceKeepsItsTimes) {
  Import("alice", Timed("Weekly", "20031104T090000", "20031104T100000") +
                      Timed("It's", "20031104T130000", "20031104T140000"));
  EXPECT_EQ(Page(Form({{"Name", "Weekly.ics"}, {"subject", "Moved"}})).UpdateCalendarItem(), "");
  EXPECT_EQ(Page(Form({{"Name", "Weekly.ics"}, {"subject", "Renamed"}, {"RecurrenceId", "20031104T090000"}}))
                .UpdateCalendarItem(),
            "");
  CalendarItem& weekly = Loaded("alice", "Weekly.ics");
  EXPECT_EQ(weekly.PrintCItemSubject(), "Renamed");
  EXPECT_EQ(weekly.PrintCItemDTStart(), "11/6/2003 10:00:00 AM");  // from the first update only
  EXPECT_EQ(weekly.PrintCItemLocation(), "Room 2");

  EXPECT_EQ(Page(Form({{"Name", "gone.ics"}})).UpdateCalendarItem(), "Error Finding Calendar Item");
  // The change query takes the name as it stands, so an apostrophe breaks it.
  EXPECT_NE(Page(Form({{"Name", "It's.ics"}})).UpdateCalendarItem().find("does not have access to alice's"),
            std::string::npos);
  EXPECT_EQ(Loaded("alice", "It's.ics").PrintCItemSubject(), "It's");
}

TEST_F(CalendarItemTest, DeletingRemovesTheNamedItemOnly) {
  Import("alice", Timed("It's", "20031104T130000", "20031104T140000") +
                      Timed("Stays", "20031104T150000", "20031104T160000"));
  EXPECT_EQ(Page({{"UserName", "alice"}, {"Name", "It's.ics"}}).DeleteCalendarItem(), "");
  EXPECT_EQ(Page({{"UserName", "alice"}, {"Name", "gone.ics"}}).DeleteCalendarItem(), "");
  EXPECT_EQ(Page({{"UserName", "alice"}}).DeleteCalendarItem(), "");
  EXPECT_EQ(Items(), std::vector<std::string>{"Stays.ics|Stays|11/4/2003 3:00:00 PM|11/4/2003 4:00:00 PM"});
  EXPECT_NE(ErrorLog().find("CalendarItem.OpenCalendar - Delete Action"), std::string::npos);
}

}  // namespace
}  // namespace orbitel::item
