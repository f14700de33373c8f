#pragma once
// The two addresses other calendar programs read, beside the pages: a person's free/busy,
// "freebusy/<account>.ifb?start=YYYY-MM-DD&end=YYYY-MM-DD" (both days included; the next 8 weeks
// without them, a year at most), and a person's calendar feed, "feeds/<account>.ics" (4 weeks
// back to a year ahead). Either is answered for a signed-in team or administrator, or for an
// address carrying the site's feed token ("?token=..."); anyone else is told 404, as for an
// address the site does not have. Bad input is a 400 with the reason in plain text.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "host/CookieSession.h"

namespace orbitel::host {

struct PlainAnswer {
  int status = 200;
  std::string body;
  std::string content_type;
};

// Whether the decoded path is one of the two addresses ("/freebusy/..." or "/feeds/...").
bool IsScheduleAddress(std::string_view path);

// Answers one, on a request thread (it reads the settings and the store) that serves the site
// in site_folder. target: the path and query as sent, the site's own folder first when the
// server holds many sites.
PlainAnswer AnswerScheduleAddress(const std::filesystem::path& site_folder, std::string_view target,
                                  const std::optional<SessionData>& session);

}  // namespace orbitel::host
