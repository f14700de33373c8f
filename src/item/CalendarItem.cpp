#include "item/CalendarItem.h"

#include "calendar/CalendarQuery.h"
#include "item/ItemRequest.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "site/AccessControl.h"
#include "site/Clock.h"
#include "site/ErrorHandler.h"
#include "site/ErrorHtml.h"
#include "site/PageContext.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"
#include "site/TimeZone.h"
#include "store/Connection.h"

namespace orbitel::item {

CalendarItem::CalendarItem()
    : PageFrame({"CalendarItem.asp", site::DateStep::kNone, site::kAdminLevel, false}) {
  ResetRecord();
}

void CalendarItem::ResetRecord() {
  record_ = Record{};
  record_.DTStart = record_.DTEnd = site::Now();
}

std::string CalendarItem::LoadCalendarItem() {
  site::SiteState& site = site::Site();
  const std::string user = RequestValue("UserName");
  const std::string name = RequestValue("Name");
  site.ErrorText.clear();
  ResetRecord();
  if (user.empty() || name.empty()) return site.ErrorText;
  if (!site.SettingsLoaded) {
    site.ErrorText = site::NoDomainError();
    return site.ErrorText;
  }
  const std::string folder = UserFolder(user);
  const std::string query =
      "SELECT \"DAV:href\", \"urn:schemas:httpmail:subject\", \"DAV:displayname\", "
      "\"urn:schemas:calendar:busystatus\", \"urn:schemas:calendar:location\", "
      "\"urn:schemas:calendar:dtstart\", \"urn:schemas:calendar:dtend\", "
      "\"urn:schemas:calendar:alldayevent\", \"urn:schemas:calendar:recurrenceid\", "
      "\"urn:schemas:httpmail:textdescription\",  \"urn:schemas:calendar:uid\"  FROM "
      "scope('shallow traversal of \"" + folder + "\"') WHERE (\"DAV:displayname\" = '" +
      QuotedName(name) + "')";
  OpenCalendar(query, folder, Action::kGet);
  return site.ErrorText;
}

void CalendarItem::OpenCalendar(const std::string& query, const std::string& folder, Action action) {
  // One routine name for every action: the log has always filed them together.
  site::RunLogged("CalendarItem.OpenCalendar - Delete Action", [&]() -> Status {
    site::SiteState& site = site::Site();
    data::Connection connection(site::Services().providers);
    connection.Provider = site.StoreProvider;
    connection.Mode = 3;
    data::Recordset rows;
    if (!connection.Open(folder, "", "", -1).ok() || !data::OpenRecordset(rows, query, connection).ok()) {
      site.ErrorText += calendar::NoAccessError(RequestValue("UserName"));
      connection.Close();
      return Status::Ok();
    }
    Status status = Status::Ok();
    switch (action) {
      case Action::kGet:
        LoadItemFields(rows);
        if (!rows.IsEOF()) {
          if (auto href = rows.Field("DAV:href"); href.ok()) {
            if (auto source = connection.folder()->ReadItem(href->Text()); source.ok()) etag_ = source->etag;
          }
        }
        break;
      case Action::kUpdate: {
        // No item of that name reads as an empty address.
        const auto href = rows.IsEOF() ? Result<Value>(Value()) : rows.Field("DAV:href");
        const std::string text = href.ok() ? href->Text() : std::string();
        if (!text.empty()) {
          UpdateCalendarItemSub(text);
        } else {
          site.ErrorText += "Error Finding Calendar Item";
        }
        break;
      }
      case Action::kDelete: {
        // The form's version is checked against the item's as it is stored now.
        auto href = rows.IsEOF() ? Result<Value>(Value()) : rows.Field("DAV:href");
        if (href.ok() && !href->Text().empty()) {
          auto source = connection.folder()->ReadItem(href->Text());
          if (source.ok() && !FormIsCurrent(source->etag, Action::kDelete)) break;
        }
        status = rows.Delete();
        if (status.ok()) status = rows.Update();
        break;
      }
    }
    rows.Close();
    connection.Close();
    return status;
  });
}

void CalendarItem::LoadItemFields(const data::Recordset& rows) {
  if (rows.IsEOF()) return;
  auto text = [&rows](const char* property) {
    auto value = rows.Field(property);
    return value.ok() ? value->Text() : std::string();
  };
  // Each value is read as text and converted; one that does not convert leaves its field as
  // the fresh record has it.
  record_.Subject = text("urn:schemas:httpmail:subject");
  if (auto all_day = ToBoolean(text("urn:schemas:calendar:alldayevent")); all_day.ok()) {
    record_.AllDayEvent = *all_day;
  }
  // Start and end are stored in UTC; all-day items too are shifted to the server's local time.
  if (auto start = ParseDate(text("urn:schemas:calendar:dtstart")); start.ok()) {
    record_.DTStart = site::ToLocal(*start);
  }
  if (auto end = ParseDate(text("urn:schemas:calendar:dtend")); end.ok()) {
    record_.DTEnd = site::ToLocal(*end);
  }
  record_.Location = text("urn:schemas:calendar:location");
  record_.BusyStatus = text("urn:schemas:calendar:busystatus");
  record_.Body = text("urn:schemas:httpmail:textdescription");
  record_.RecurrenceId = text("urn:schemas:calendar:recurrenceid");
}

bool CalendarItem::FormIsCurrent(const std::string& stored_etag, Action action) {
  const auto posted = site::Site().PageContext ? site::Site().PageContext->Request("ETag") : std::nullopt;
  if (!posted || *posted == stored_etag) return true;
  changed_by_others_ = true;
  etag_ = stored_etag;
  site::Site().ErrorText += site::ErrorHtml(
      action == Action::kDelete
          ? "Someone else changed this appointment after you opened it, so it was not deleted. The form now "
            "shows their version; delete it again if it should still go."
          : "Someone else changed this appointment after you opened it, so your changes were not saved. The "
            "form shows what you typed; saving it again replaces their change.");
  return false;
}

std::string CalendarItem::PrintCItemDTStart() const { return FormatGeneralDate(record_.DTStart); }

std::string CalendarItem::PrintCItemDTEnd() const { return FormatGeneralDate(record_.DTEnd); }

std::string CalendarItem::PrintCItemBusyStatus(const std::string& value) const {
  return ToLower(value) == ToLower(record_.BusyStatus) ? "Selected" : "";
}

}  // namespace orbitel::item
