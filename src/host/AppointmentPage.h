#pragma once
// The appointment page ("CalendarItem.asp"): the form of one appointment, new or loaded, and
// what a posted form does — "Save" adds or changes it, "Delete" removes it. A write that
// succeeds sends the browser to the user's day of the appointment; one that fails shows the
// form again with what was typed and the error, so no edit is lost.

#include <memory>

#include "host/HttpPageContext.h"
#include "host/SiteTemplates.h"

namespace orbitel::host {

void AppointmentPage(const std::shared_ptr<HttpPageContext>& context, PageValues& values);

}  // namespace orbitel::host
