#include "host/SitePages.h"

#include <array>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "admin/Options.h"
#include "host/AppointmentPage.h"
#include "runtime/Conversions.h"
#include "runtime/Secrets.h"
#include "schedule/FeedSettings.h"
#include "schedule/FindTime.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/ErrorLog.h"
#include "site/SettingsFields.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"
#include "views/personal/PerDay.h"
#include "views/personal/PerMonth.h"
#include "views/personal/PerWeek.h"
#include "views/team/AllDay.h"
#include "views/team/AllMonth.h"
#include "views/team/AllNow.h"
#include "views/team/AllWeek.h"

namespace orbitel::host {

namespace {

// The results every page with a shown date offers its template.
template <class Page>
void DateValues(const Page& page, PageValues& values) {
  values.text["ShowDateLink"] = page.ShowDateLink();
  values.text["ShowCurrentDate"] = page.ShowCurrentDate();
  values.text["ShowCurrentVersion"] = page.ShowCurrentVersion();
}

// What the legend under a calendar shows: the busy marks as the site's settings name them (one
// for an appointment with a location and one without, or a single one when locations are
// hidden).
void LegendValues(PageValues& values) {
  const site::SiteState& site = site::Site();
  const std::string located =
      site::BusyImage(site.ShowLocation, site.LocationEntry, site.LocationNoEntry, "located");
  const std::string plain =
      site::BusyImage(site.ShowLocation, site.LocationEntry, site.LocationNoEntry, "");
  values.text["LocatedBusyPicture"] = located;
  values.text["BusyPicture"] = plain;
  values.flags["ShowsLocation"] = located != plain;
}

template <class Page>
void CalendarValues(const Page& page, PageValues& values) {
  DateValues(page, values);
  LegendValues(values);
  // What PrintCalendar returns, CalendarHtml, handed over rather than copied (megabytes for a
  // large team): the request thread lets it go once the page is made.
  values.text["PrintCalendar"] = std::move(site::Site().CalendarHtml);
  values.text["PrintGenerateErrors"] = page.PrintGenerateErrors();
}

template <class Page>
void SteppingValues(const Page& page, PageValues& values) {
  CalendarValues(page, values);
  values.text["ShowPreviousDate"] = page.ShowPreviousDate();
  values.text["ShowNextDate"] = page.ShowNextDate();
  // "November 2026": the month pages' heading names the month, not the day they were opened on.
  const Date shown = site::RequestedDateValue();
  values.text["ShowCurrentMonth"] = site::MonthName(shown) + " " + std::to_string(shown.Year());
}

void HomePage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  admin::Options page;
  page.OnStartPage(context);
  DateValues(page, values);
}

void LoginPage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  admin::Options page;
  page.OnStartPage(context);
  // Each request thread keeps the settings it last read; a password just changed on the
  // options page (served by another thread) must work at once.
  site::GetSiteVars();
  const std::string message = page.Login();
  if (context->redirect()) return;
  DateValues(page, values);
  values.text["LoginMessage"] = message;
  values.text["ReturnUrl"] = context->RequestText("ReturnUrl");
  values.text["UserName"] = context->RequestText("cstrUserName");
  values.text["FormToken"] = context->FormToken();
}

// The free/busy and feed addresses' settings on the options page: the token to copy or renew,
// and how the feeds show private appointments.
void FeedOptionValues(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  const std::string& site_path = site::Site().SitePath;
  schedule::FeedSettings feed = schedule::ReadFeedSettings(site_path);
  const std::string action = context->PostedAction();
  if (action == "Renew feed token" || action == "Save feed settings") {
    if (action == "Renew feed token") {
      feed.token = RandomHex(32);
    } else {
      feed.private_items = context->RequestText("FeedPrivate") == "Omit" ? schedule::PrivateInFeed::kLeftOut
                                                                         : schedule::PrivateInFeed::kAsBusy;
    }
    const Status saved = schedule::SaveFeedSettings(site_path, feed);
    if (!saved.ok()) site::WriteErrorLog("Options.SaveFeedSettings", saved);
    values.text["FeedSaved"] = saved.ok() ? "Status: Saved" : "Status: Error Saving. Please check permissions on the xml files.";
    if (!saved.ok()) feed = schedule::ReadFeedSettings(site_path);
  }
  values.text["FeedToken"] = feed.token;
  values.flags["HasFeedToken"] = !feed.token.empty();
  const bool left_out = feed.private_items == schedule::PrivateInFeed::kLeftOut;
  values.text["FeedPrivateBusyChecked"] = left_out ? "" : "checked";
  values.text["FeedPrivateOmitChecked"] = left_out ? "checked" : "";
}

// The calendar mirror's settings on the options page: seconds between refreshes and the days it
// holds around today. Numbers out of range are refused with their range, and nothing is saved.
void MirrorOptionValues(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  const site::SiteState& site = site::Site();
  struct Shown {
    const site::WholeNumberField& field;
    const char* what;
    int value;
  } shown[] = {{site::kMirrorInterval, "The seconds between refreshes", site.MirrorInterval},
               {site::kMirrorDaysBack, "The days kept before today", site.MirrorDaysBack},
               {site::kMirrorDaysAhead, "The days kept after today", site.MirrorDaysAhead}};
  if (context->PostedAction() == "Save mirror settings") {
    std::vector<std::pair<std::string, std::string>> posted;
    std::string refused;
    for (const Shown& one : shown) {
      const std::optional<int> number = site::WholeNumberIn(context->RequestText(one.field.field), one.field);
      if (!number && refused.empty()) {
        refused = std::string("Status: Not saved. ") + one.what + " must be a whole number from " +
                  std::to_string(one.field.lowest) + " to " + std::to_string(one.field.highest) + ".";
      }
      if (number) posted.emplace_back(one.field.field, std::to_string(*number));
    }
    Status saved = Status::Ok();
    if (refused.empty()) {
      saved = site::SaveSettingsFields(site.SitePath, posted);
      if (!saved.ok()) site::WriteErrorLog("Options.SaveMirrorSettings", saved);
    }
    values.text["MirrorSaved"] = !refused.empty() ? refused
                                 : saved.ok()     ? "Status: Saved"
                                                  : "Status: Error Saving. Please check permissions on the xml files.";
    if (refused.empty() && saved.ok()) {
      for (std::size_t i = 0; i < posted.size(); ++i) shown[i].value = std::stoi(posted[i].second);
    }
  }
  for (const Shown& one : shown) values.text[one.field.field] = std::to_string(one.value);
}

// The options page: saving the posted settings, the form with the current ones and the people
// to include; or, when asked, the installation check alone (it ends the sign-in, so the form
// would only send the administrator to sign in again).
void OptionsPage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  admin::Options page;
  page.OnStartPage(context);
  page.ValidateAdminAccess();
  if (context->redirect()) return;
  DateValues(page, values);
  if (context->PostedAction() == "Check") {
    values.text["SiteCheck"] = page.SiteCheck();
    values.flags["Checked"] = true;
    return;
  }
  // New sign-in names or passwords end every session signed in with the old ones.
  const auto credentials = [] {
    const site::SiteState& site = site::Site();
    return std::array{site.UserUserName, site.UserPassword, site.AdminUserName, site.AdminPassword};
  };
  const auto credentials_before = credentials();
  values.text["SaveOptionChanges"] = page.SaveOptionChanges();
  if (credentials() != credentials_before) context->EndOtherSessions();
  values.flags["SaveAnswered"] = !values.text["SaveOptionChanges"].empty();
  values.text["PrintUsers"] = page.PrintUsers();
  values.text["GetExchangeDomain"] = page.GetExchangeDomain();
  values.text["GetLocationEntry"] = page.GetLocationEntry();
  values.text["GetLocationNoEntry"] = page.GetLocationNoEntry();
  values.text["GetUserUserName"] = page.GetUserUserName();
  values.text["GetUserPassword"] = page.GetUserPassword();
  values.text["GetAdminUserName"] = page.GetAdminUserName();
  values.text["GetAdminPassword"] = page.GetAdminPassword();
  values.text["LocalStoreChecked"] = page.ShowExchangeConnectionMethod(true);
  values.text["HttpStoreChecked"] = page.ShowExchangeConnectionMethod(false);
  values.text["ShowLocationChecked"] = page.ShowLocation(true);
  values.text["HideLocationChecked"] = page.ShowLocation(false);
  FeedOptionValues(context, values);
  MirrorOptionValues(context, values);
  values.text["FormToken"] = context->FormToken();
}

// The find-a-time page: the form as the visitor left it and the times found.
void FindTimePage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  schedule::FindTime page;
  page.OnStartPage(context);
  page.ValidateUserAccess();
  if (context->redirect()) return;
  page.GenerateFindTime();
  values.text["ShowDateLink"] = page.ShowDateLink();
  values.text["ShowCurrentVersion"] = page.ShowCurrentVersion();
  values.text["PrintGenerateErrors"] = page.PrintGenerateErrors();
  values.text["PrintFreeTimes"] = page.PrintFreeTimes();
  values.text["PrintPeople"] = page.PrintPeople();
  values.text["PrintLengths"] = page.PrintLengths();
  values.text["PrintDayStarts"] = page.PrintDayStarts();
  values.text["PrintDayEnds"] = page.PrintDayEnds();
  values.text["FirstDay"] = page.FirstDay();
  values.text["LastDay"] = page.LastDay();
  values.text["TentativeChecked"] = page.TentativeChecked();
  values.text["SuggestChecked"] = page.SuggestChecked();
}

// Starts a calendar view and runs its access check with the argument its class takes; false
// when the check sent the visitor to sign in, so nothing more is made.
template <class Page, class... CheckArgument>
bool Started(Page& page, const std::shared_ptr<HttpPageContext>& context, CheckArgument... argument) {
  page.OnStartPage(context);
  page.ValidateUserAccess(argument...);
  return !context->redirect();
}

// The team month and day pages, and the personal pages with their new-appointment link.
template <class Page>
void ViewPage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  Page page;
  if (!Started(page, context)) return;
  page.GenerateCalendar();
  SteppingValues(page, values);
  if constexpr (std::is_base_of_v<views::PersonalPage, Page>) {
    values.text["ShowNewCalendarItemLink"] = page.ShowNewCalendarItemLink();
    values.text["User"] = context->RequestText("USER");
  }
}

// The week page and the user list share their class and its check with a "True"/"False" text.
void WeekPage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  views::AllWeek page;
  if (!Started(page, context, "False")) return;
  page.GenerateCalendar();
  SteppingValues(page, values);
}

void UserListPage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  views::AllWeek page;
  if (!Started(page, context, "True")) return;
  page.GenerateUserList();
  SteppingValues(page, values);
}

void NowPage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  views::AllNow page;
  if (!Started(page, context)) return;
  page.GenerateCalendar();
  CalendarValues(page, values);
}

// The appointment page fills its own form; the footer's version is the same on every page.
void ItemPage(const std::shared_ptr<HttpPageContext>& context, PageValues& values) {
  AppointmentPage(context, values);
  values.text["ShowCurrentVersion"] = admin::Options().ShowCurrentVersion();
}

constexpr SitePage kPages[] = {
    {"default.asp", "default", HomePage},
    {"CalendarLogin.asp", "CalendarLogin", LoginPage},
    {"CalendarMonth.asp", "CalendarMonth", ViewPage<views::AllMonth>, true},
    {"CalendarWeek.asp", "CalendarWeek", WeekPage, true},
    {"CalendarUserList.asp", "CalendarUserList", UserListPage, true},
    {"CalendarDay.asp", "CalendarDay", ViewPage<views::AllDay>, true},
    {"CalendarNow.asp", "CalendarNow", NowPage, true, true},
    {"CalendarPersonalDay.asp", "CalendarPersonalDay", ViewPage<views::PerDay>, true},
    {"CalendarPersonalWeek.asp", "CalendarPersonalWeek", ViewPage<views::PerWeek>, true},
    {"CalendarPersonalMonth.asp", "CalendarPersonalMonth", ViewPage<views::PerMonth>, true},
    {"CalendarItem.asp", "CalendarItem", ItemPage},
    {"CalendarOptions.asp", "CalendarOptions", OptionsPage},
    {"CalendarFindTime.asp", "CalendarFindTime", FindTimePage},
};

}  // namespace

const SitePage* FindSitePage(std::string_view name) {
  if (name.empty()) return &kPages[0];
  for (const SitePage& page : kPages) {
    if (EqualsIgnoringCase(page.name, name)) return &page;
  }
  return nullptr;
}

}  // namespace orbitel::host
