#include "views/team/TeamRows.h"

#include "runtime/TextCoding.h"
#include "site/AccessibleNames.h"
#include "site/DateHelpers.h"
#include "site/DomainDirectory.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"

namespace orbitel::views {

site::UserList LoadTeam() {
  site::GetSiteVars();
  site::Site().CalendarHtml.clear();
  site::Site().ErrorText.clear();
  site::UserList users;
  site::GetFolderPaths(users);
  site::CleanUpUsers(users);
  return users;
}

const char* DayHeaderColour(Date date, Date today) {
  if (date.IsoWeekday() > 5) return "#999999";
  if (date.DatePart() == today.DatePart()) return "#ff0000";
  return "#e5e5e5";
}

const char* DayCellColour(Date date) { return date.IsoWeekday() > 5 ? "#CCCCCC" : "#f7f7f7"; }

namespace {

// What a personal page's link leads to, for the name of the icon that links it.
std::string_view PersonalPageName(std::string_view page) {
  if (page == "CalendarPersonalDay.asp") return "personal day";
  if (page == "CalendarPersonalWeek.asp") return "personal week";
  return "personal month";
}

}  // namespace

std::string UserIconCell(std::string_view width, std::string_view page, const std::string& link,
                         std::string_view name) {
  return "<tr><td width=\"" + std::string(width) + "\"><a href=\"" + std::string(page) + link +
         "\"><img src=\"images/outlook.gif\" width=\"16\" height=\"14\" border=\"0\"" +
         site::PictureName(std::string(name) + ": " + std::string(PersonalPageName(page))) +
         "></a></td>";
}

std::string UserNameCell(std::string_view attributes, std::string_view page,
                         const std::string& link, std::string_view dot, std::string_view name) {
  return "<td" + std::string(attributes) + "><a href=\"" + std::string(page) + link +
         "\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"2\"><img src=\"" +
         std::string(dot) + "\" width=\"10\" height=\"1\" border=\"0\" alt=\"\">" +
         HtmlEscape(name) + "</font></a>";
}

std::string BusyPicture(std::string_view location) {
  const site::SiteState& site = site::Site();
  return HtmlEscape(
      site::BusyImage(site.ShowLocation, site.LocationEntry, site.LocationNoEntry, location));
}

std::string BusyMarkName(std::string_view person, std::string_view when,
                         std::string_view location) {
  std::string name;
  AppendBusyMarkName(name, person, when, location);
  return name;
}

void AppendBusyMarkName(std::string& html, std::string_view person, std::string_view when,
                        std::string_view location) {
  // The same test that picks the located picture, so the words match what is drawn.
  const bool located = site::Site().ShowLocation == "Yes" && location.size() > 1;
  site::AppendPictureName(html, {person, ", ", when, located ? ": busy, with a location" : ": busy"});
}

}  // namespace orbitel::views
