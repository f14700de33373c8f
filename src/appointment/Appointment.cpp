#include "appointment/Appointment.h"

#include "ical/ICalendar.h"
#include "ical/ItemOccurrences.h"
#include "query/DataErrors.h"
#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

Result<std::unique_ptr<StoreFolder>> OpenFolderOf(const StoreProviders& providers,
                                                  const std::string& folder_url) {
  Result<std::shared_ptr<const StoreProvider>> provider = providers.ForUrl(folder_url);
  if (!provider.ok()) return provider.status();
  return (*provider)->OpenFolder(folder_url);
}

// The folder an item lies in: its href up to and including the last '/'.
std::string FolderOf(const std::string& href) {
  const std::size_t slash = href.rfind('/');
  return slash == std::string::npos ? std::string() : href.substr(0, slash + 1);
}

Date LocalDateOf(Date utc) { return LocalOfUtc(UtcOfDate(utc)); }

std::string BusyStatusOrDefault(const std::string& status) {
  return Trim(status).empty() ? std::string("BUSY") : ToUpper(Trim(status));
}

}  // namespace

Status AppointmentDataSource::SaveToContainer(const std::string& folder_url) {
  Result<std::unique_ptr<StoreFolder>> folder = OpenFolderOf(appointment_.providers_, folder_url);
  if (!folder.ok()) return folder.status();
  EventEdit edit;
  edit.subject = appointment_.Subject;
  edit.location = appointment_.Location;
  edit.busystatus = BusyStatusOrDefault(appointment_.BusyStatus);
  edit.description = appointment_.TextBody;
  edit.times = EventTimes{appointment_.StartTime, appointment_.EndTime, appointment_.AllDayEvent};
  Result<std::string> href = folder.value()->CreateItem(NewEventCalendar(NewUid(), edit));
  if (!href.ok()) return href.status();
  // The saved item is now the opened one, so a later Save changes it rather than adding another.
  Result<ItemSource> source = folder.value()->ReadItem(*href);
  if (!source.ok()) return source.status();
  opened_ = std::move(source).value();
  is_open_ = true;
  return Status::Ok();
}

Status AppointmentDataSource::Open(const std::string& href) {
  Result<std::unique_ptr<StoreFolder>> folder = OpenFolderOf(appointment_.providers_, FolderOf(href));
  if (!folder.ok()) return folder.status();
  Result<ItemSource> source = folder.value()->ReadItem(href);
  if (!source.ok()) return source.status();
  Result<ItemSummary> summary = SummarizeItem(source->ics);
  if (!summary.ok()) return summary.status();
  const StoreItem& item = summary->master;
  appointment_.Subject = item.subject;
  appointment_.Location = item.location;
  appointment_.BusyStatus = item.busystatus;
  appointment_.StartTime = LocalDateOf(item.dtstart);
  appointment_.EndTime = LocalDateOf(item.dtend);
  appointment_.AllDayEvent = item.alldayevent;
  appointment_.TextBody = item.textdescription;
  opened_ = std::move(source).value();
  is_open_ = true;
  return Status::Ok();
}

Status AppointmentDataSource::Save() {
  if (!is_open_) return ClosedObjectError();
  Result<ItemSummary> summary = SummarizeItem(opened_.ics);
  if (!summary.ok()) return summary.status();
  const StoreItem& was = summary->master;
  // Only what changed since Open is written, so the item keeps its own spelling of the rest
  // (a TZID start stays in its zone unless the times were edited).
  EventEdit edit;
  if (appointment_.Subject != was.subject) edit.subject = appointment_.Subject;
  if (appointment_.Location != was.location) edit.location = appointment_.Location;
  if (appointment_.TextBody != was.textdescription) edit.description = appointment_.TextBody;
  if (BusyStatusOrDefault(appointment_.BusyStatus) != was.busystatus) {
    edit.busystatus = BusyStatusOrDefault(appointment_.BusyStatus);
  }
  if (UtcOfLocal(appointment_.StartTime) != UtcOfDate(was.dtstart) ||
      UtcOfLocal(appointment_.EndTime) != UtcOfDate(was.dtend) ||
      appointment_.AllDayEvent != was.alldayevent) {
    edit.times = EventTimes{appointment_.StartTime, appointment_.EndTime, appointment_.AllDayEvent};
  }
  Result<std::string> ics = EditEventCalendar(opened_.ics, edit);
  if (!ics.ok()) return ics.status();
  Result<std::unique_ptr<StoreFolder>> folder = OpenFolderOf(appointment_.providers_, FolderOf(opened_.href));
  if (!folder.ok()) return folder.status();
  if (Status replaced = folder.value()->ReplaceItem(opened_.href, *ics, opened_.etag);
      !replaced.ok()) {
    return replaced;
  }
  Result<ItemSource> source = folder.value()->ReadItem(opened_.href);
  if (!source.ok()) return source.status();
  opened_ = std::move(source).value();
  return Status::Ok();
}

}  // namespace orbitel::data
