#include "host/AppointmentPage.h"

#include <exception>
#include <utility>

#include "item/CalendarItem.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "site/AccessibleNames.h"
#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/ErrorHtml.h"
#include "site/ErrorLog.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"

namespace orbitel::host {

namespace {

// How many years the year boxes offer around this one.
constexpr std::int16_t kPreviousYears = 2;
constexpr std::int16_t kFutureYears = 5;

std::string Option(const std::string& value, const std::string& label, const std::string& selected) {
  return "<option value=\"" + value + "\"" + selected + ">" + label + "</option>";
}

// The half hours of a day as the time boxes offer them: "12:00 AM", "12:30 AM", ... "11:30 PM".
std::string HalfHour(int index) {
  const int hour = index / 2 % 12;
  return std::to_string(hour == 0 ? 12 : hour) + (index % 2 ? ":30" : ":00") + (index < 24 ? " AM" : " PM");
}

void FormValues(const item::CalendarItem& page, PageValues& values) {
  values.text["PrintCItemSubject"] = page.PrintCItemSubject();
  values.text["PrintCItemLocation"] = page.PrintCItemLocation();
  values.text["PrintCItemBody"] = page.PrintCItemBody();
  values.text["PrintCItemDTStart"] = page.PrintCItemDTStart();
  values.text["PrintCItemDTEnd"] = page.PrintCItemDTEnd();
  values.text["PrintCItemRecurrenceId"] = page.PrintCItemRecurrenceId();
  values.text["PrintIsAllDayEvent"] = page.PrintIsAllDayEvent();
  values.text["PrintGenerateErrors"] = page.PrintGenerateErrors();
  std::string busy;
  for (const char* status : site::kBusyStatuses) {
    const std::string selected = page.PrintCItemBusyStatus(status);
    busy += Option(status, std::string(site::BusyStatusWords(status)), selected.empty() ? "" : " " + selected);
  }
  values.text["BusyStatusOptions"] = busy;
  for (const std::string period : {"Start", "End"}) {
    values.text[period + "YearOptions"] = page.RetreiveYearsForListBox(kPreviousYears, kFutureYears, period);
    std::string months, days, times;
    for (int month = 1; month <= 12; ++month) {
      months += Option(std::to_string(month), site::MonthName(*Date::FromParts(2000, month, 1)),
                       page.CompareSelectedForListBox("Month", period, static_cast<std::int16_t>(month)));
    }
    for (int day = 1; day <= 31; ++day) {
      days += Option(std::to_string(day), std::to_string(day),
                     page.CompareSelectedForListBox("Day", period, static_cast<std::int16_t>(day)));
    }
    for (int index = 0; index < 48; ++index) {
      times += Option(HalfHour(index), HalfHour(index), page.RetreiveTimeForListBox(period, HalfHour(index)));
    }
    values.text[period + "MonthOptions"] = months;
    values.text[period + "DayOptions"] = days;
    values.text[period + "TimeOptions"] = times;
  }
}

// The user's personal day of a date, where the browser goes after a write.
std::string DayPageOf(Date date, const std::string& user) {
  return "CalendarPersonalDay.asp" + site::BuildDateLinkQuery(date, user);
}

}  // namespace

void AppointmentPage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  item::CalendarItem page;
  page.OnStartPage(context);
  // As on the sign-in page: the store this thread last read of may since have been changed on
  // the options page, and an appointment must go where the settings now say.
  site::GetSiteVars();
  page.ValidateAdminAccess();
  if (context->redirect()) return;

  const std::string user = context->RequestText("UserName");
  const std::string action = context->PostedAction();
  const bool is_new = context->RequestText("Method") == "New";
  std::string errors;
  if (action == "Save" || action == "Delete") {
    if (action == "Delete") {
      page.LoadCalendarItem();  // for the day to go back to
      errors = page.DeleteCalendarItem();
    } else {
      try {
        errors = is_new ? page.AddCalendarItem() : page.UpdateCalendarItem();
      } catch (const std::exception& failure) {
        // The store's reason may name its files (a full disk): it goes to the site's log only.
        site::WriteErrorLog("CalendarItem.AddCalendarItem", "", failure.what());
        errors = site::ErrorHtml(
            "The appointment could not be saved. What went wrong has been written to the site's error log.");
        site::Site().ErrorText = errors;
      }
    }
    if (errors.empty()) {
      const Date shown = ParseDate(page.PrintCItemDTStart()).value_or(site::Today()).DatePart();
      context->Redirect(DayPageOf(shown, user));
      return;
    }
  } else {
    page.LoadCalendarItem();
  }

  FormValues(page, values);
  values.text["UserName"] = user;
  values.text["Name"] = context->RequestText("Name");
  values.text["ETag"] = page.PrintCItemETag();
  values.text["FormToken"] = context->FormToken();
  values.flags["IsNew"] = is_new;
  values.flags["IsOccurrence"] = !page.PrintCItemRecurrenceId().empty();
}

}  // namespace orbitel::host
