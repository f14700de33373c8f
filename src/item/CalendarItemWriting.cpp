// Adding, changing and deleting an appointment from the posted form.
#include <stdexcept>

#include "appointment/Appointment.h"
#include "item/CalendarItem.h"
#include "item/ItemRequest.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "site/ErrorHandler.h"
#include "site/ErrorHtml.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"

namespace orbitel::item {

namespace {

// Reads "<prefix>Year", "<prefix>Month" and "<prefix>Day" as a date (out-of-range months and
// days carry over) with the time text after it.
Result<Date> FormDate(const std::string& prefix, const std::string& time_text) {
  auto year = ToInteger(RequestValue(prefix + "Year"));
  auto month = ToInteger(RequestValue(prefix + "Month"));
  auto day = ToInteger(RequestValue(prefix + "Day"));
  if (!year.ok()) return year.status();
  if (!month.ok()) return month.status();
  if (!day.ok()) return day.status();
  auto date = Date::FromParts(*year, *month, *day);
  if (!date.ok()) return date.status();
  return ParseDate(FormatGeneralDate(*date) + " " + time_text);
}

// What the page shows when the posted dates make no date: nothing is written.
std::string BadDatesError() {
  return site::ErrorHtml("The start or end of the appointment is not a date and time. Nothing was saved.");
}

// Whether a write asked for (a user and an item name, or "New" for an added item) may go
// ahead: a site whose settings found no domain says so instead.
bool MayWrite(bool asked) {
  if (!asked) return false;
  if (site::Site().SettingsLoaded) return true;
  site::Site().ErrorText = site::NoDomainError();
  return false;
}

}  // namespace

Status CalendarItem::ReadItemForm() {
  record_.Subject = RequestValue("subject");
  record_.AllDayEvent = RequestValue("chkAllDay") == "on";
  record_.Location = RequestValue("location");
  record_.BusyStatus = RequestValue("busystatus");
  record_.Body = RequestValue("txtMsgBody");
  // An all-day item runs from midnight to midnight whatever the time boxes say.
  auto start = FormDate("Start", record_.AllDayEvent ? "12:00 AM" : RequestValue("StartTime"));
  auto end = FormDate("End", record_.AllDayEvent ? "12:00 AM" : RequestValue("EndTime"));
  if (!start.ok()) return start.status();
  if (!end.ok()) return end.status();
  record_.DTStart = *start;
  record_.DTEnd = *end;
  if (record_.DTEnd < record_.DTStart) record_.DTEnd = record_.DTStart.AddMinutes(30).value_or(record_.DTStart);
  return Status::Ok();
}

std::string CalendarItem::AddCalendarItem() {
  site::SiteState& site = site::Site();
  const std::string user = RequestValue("UserName");
  site.ErrorText.clear();
  if (!ReadItemForm().ok()) {
    site.ErrorText = BadDatesError();
  } else if (MayWrite(RequestValue("Method") == "New" && !user.empty())) {
    data::Appointment appointment(site::Services().providers);
    appointment.Subject = record_.Subject;
    appointment.Location = record_.Location;
    appointment.BusyStatus = record_.BusyStatus;
    appointment.StartTime = record_.DTStart;
    appointment.EndTime = record_.DTEnd;
    appointment.AllDayEvent = record_.AllDayEvent;
    appointment.TextBody = record_.Body;
    const Status saved = appointment.DataSource().SaveToContainer(UserFolder(user));
    if (!saved.ok()) throw std::runtime_error(saved.description());
  }
  return site.ErrorText;
}

std::string CalendarItem::UpdateCalendarItem() {
  site::SiteState& site = site::Site();
  const std::string user = RequestValue("UserName");
  const std::string name = RequestValue("Name");
  site.ErrorText.clear();
  // The version this form edits, carried on should the form be shown again.
  etag_ = RequestValue("ETag");
  if (!ReadItemForm().ok()) {
    site.ErrorText = BadDatesError();
  } else if (MayWrite(!user.empty() && !name.empty())) {
    const std::string folder = UserFolder(user);
    // The name goes in as it stands: a name with an apostrophe makes this query fail, and the
    // page then says the calendar cannot be reached.
    OpenCalendar("SELECT \"DAV:href\", \"urn:schemas:calendar:location\" from scope('shallow traversal of \"" +
                     folder + "\"') WHERE (\"DAV:displayname\" = '" + name + "')",
                 folder, Action::kUpdate);
  }
  return site.ErrorText;
}

void CalendarItem::UpdateCalendarItemSub(const std::string& href) {
  site::RunLogged("CalendarItem:UpdateCalendarItemSub", [&]() -> Status {
    data::Appointment appointment(site::Services().providers);
    if (Status opened = appointment.DataSource().Open(href); !opened.ok()) return opened;
    if (!FormIsCurrent(appointment.DataSource().etag(), Action::kUpdate)) return Status::Ok();
    appointment.Subject = record_.Subject;
    appointment.Location = record_.Location;
    appointment.BusyStatus = record_.BusyStatus;
    // An occurrence of a series keeps its stored times.
    if (RequestValue("RecurrenceId").empty()) {
      appointment.StartTime = record_.DTStart;
      appointment.EndTime = record_.DTEnd;
      appointment.AllDayEvent = record_.AllDayEvent;
    }
    appointment.TextBody = record_.Body;
    return appointment.DataSource().Save();
  });
}

std::string CalendarItem::DeleteCalendarItem() {
  site::SiteState& site = site::Site();
  const std::string user = RequestValue("UserName");
  const std::string name = RequestValue("Name");
  site.ErrorText.clear();
  if (MayWrite(!user.empty() && !name.empty())) {
    const std::string folder = UserFolder(user);
    OpenCalendar("SELECT \"DAV:href\",  \"urn:schemas:calendar:uid\"  FROM scope('shallow traversal of \"" +
                     folder + "\"') WHERE (\"DAV:displayname\" = '" + QuotedName(name) + "')",
                 folder, Action::kDelete);
  }
  return site.ErrorText;
}

}  // namespace orbitel::item
