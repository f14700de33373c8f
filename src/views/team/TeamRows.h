#pragma once
// What the team views share: loading the included users, and the HTML pieces every team table
// repeats (the day colours, the user's icon and name cells).

#include <string>
#include <string_view>

#include "runtime/Date.h"
#include "site/UserList.h"

namespace orbitel::views {

// Loads the settings, empties CalendarHtml and ErrorText (after the load, so its errors are
// dropped), and returns the directory's people less those the users file leaves out.
site::UserList LoadTeam();

// Header colour of a day: weekends "#999999" (even today), today "#ff0000", else "#e5e5e5".
const char* DayHeaderColour(Date date, Date today);
// Cell colour of a day in a user's row: weekends "#CCCCCC", else "#f7f7f7".
const char* DayCellColour(Date date);

// "<tr><td width=\"<width>\"><a href=\"<page><link>\"><img src=\"images/outlook.gif\" ...></a></td>",
// the picture named after the person and the page it opens ("Alice Walker: personal month").
std::string UserIconCell(std::string_view width, std::string_view page, const std::string& link,
                         std::string_view name);
// "<td<attributes>><a href=\"<page><link>\"><font ...><img src=\"<dot>\" ...><name></font></a>":
// the cell is left open; the caller closes it (or, as the week table does, does not).
std::string UserNameCell(std::string_view attributes, std::string_view page,
                         const std::string& link, std::string_view dot, std::string_view name);

// The busy picture for a location text, as an attribute value.
std::string BusyPicture(std::string_view location);
// The added name of that picture: "<person>, <when>: busy" (", with a location" when the located
// picture is drawn), as alt and title attributes.
std::string BusyMarkName(std::string_view person, std::string_view when,
                         std::string_view location);
void AppendBusyMarkName(std::string& html, std::string_view person, std::string_view when,
                        std::string_view location);

}  // namespace orbitel::views
