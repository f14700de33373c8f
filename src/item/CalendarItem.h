#pragma once
// The appointment page's object ("CalendarItem.asp"): loads one appointment of a user's calendar
// (named by the request's "UserName" and "Name") into a record whose values the page writes into
// its form; pre-selects the form's list boxes; and adds, changes or deletes the appointment from
// the posted form. One object per request; the record lives as long as the object.

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/Date.h"
#include "runtime/Status.h"
#include "site/PageFrame.h"

namespace orbitel::data {
class Recordset;
}

namespace orbitel::item {

class CalendarItem : public site::PageFrame {
 public:
  CalendarItem();

  // Loads the item the request names; returns ErrorText. With no "UserName" or "Name" the
  // record stays fresh: both dates now, everything else empty.
  std::string LoadCalendarItem();
  using PageFrame::PrintGenerateErrors;

  // The record's values as the form shows them (not escaped: the page escapes form values).
  std::string PrintCItemSubject() const { return record_.Subject; }
  std::string PrintCItemBody() const { return record_.Body; }
  std::string PrintCItemDTStart() const;  // "11/23/2026 9:30:00 AM", time left out at midnight
  std::string PrintCItemDTEnd() const;
  std::string PrintCItemLocation() const { return record_.Location; }
  std::string PrintCItemRecurrenceId() const { return record_.RecurrenceId; }
  // The loaded item's version tag, which the form carries back as "ETag", so a save or delete
  // from a form loaded before someone else's change is refused rather than undoing it.
  std::string PrintCItemETag() const { return etag_; }
  // Whether the last save or delete was refused for that reason.
  bool WasChangedByOthers() const { return changed_by_others_; }
  // "Selected" when value matches the busy status without regard to case, else "".
  std::string PrintCItemBusyStatus(const std::string& value) const;
  std::string PrintIsAllDayEvent() const { return record_.AllDayEvent ? "checked" : ""; }

  // The year list box's options: the previous years nearest first, this year, then the coming
  // years; the year of the period's date ("Start" or "End") is selected.
  std::string RetreiveYearsForListBox(std::int16_t previous_years, std::int16_t future_years,
                                      const std::string& period) const;
  // " Selected" when the day or month ("Day", "Month") of the period's date is number.
  std::string CompareSelectedForListBox(const std::string& type, const std::string& period,
                                        std::int16_t number) const;
  // " Selected" when the period's time of day lies in the half hour from the option's time.
  std::string RetreiveTimeForListBox(const std::string& period, const std::string& time) const;

  // Only the administrator edits appointments.
  void ValidateAdminAccess() { CheckPageAccess(); }

  // Each returns ErrorText after the operation; none redirects.
  std::string DeleteCalendarItem();
  std::string UpdateCalendarItem();
  // A store failure while saving the new item is not an ErrorText message: it throws, as the
  // appointment object's failures reached the page.
  std::string AddCalendarItem();
  // A leftover diagnostic of the interface; does nothing.
  void Temp() {}

 private:
  struct Record {
    std::string Subject;
    Date DTStart;
    Date DTEnd;
    std::string Location;
    std::string BusyStatus;
    bool AllDayEvent = false;
    std::string RecurrenceId;
    std::string Body;
  };
  enum class Action { kGet, kUpdate, kDelete };

  void ResetRecord();
  void OpenCalendar(const std::string& query, const std::string& folder, Action action);
  void LoadItemFields(const data::Recordset& rows);
  void UpdateCalendarItemSub(const std::string& href);
  // Fills the record from the posted form; fails when a date part is not a number or the
  // parts make no date.
  Status ReadItemForm();
  // DTStart for "Start", DTEnd for "End"; nothing for any other text.
  std::optional<Date> PeriodDate(const std::string& period) const;

  // Whether the posted form's "ETag" (when it carries one) names the stored version; when not,
  // says so in ErrorText and remembers the stored version for the form shown again.
  bool FormIsCurrent(const std::string& stored_etag, Action action);

  Record record_;
  std::string etag_;
  bool changed_by_others_ = false;
};

}  // namespace orbitel::item
