#pragma once
// The settings of the free/busy and feed addresses, kept in the settings file beside the others:
// "FeedToken", the secret that lets other programs read them without signing in, and
// "FeedPrivate", how the feeds show private appointments ("Busy", or "Omit" to leave them out).
// A settings file from before these settings has neither field: the token is then empty (no
// address answers to a token) and private appointments show as "Busy"; the first save of them
// adds both fields to the file.

#include <string>
#include <string_view>

#include "runtime/Status.h"
#include "schedule/CalendarFeed.h"

namespace orbitel::schedule {

struct FeedSettings {
  std::string token;
  PrivateInFeed private_items = PrivateInFeed::kAsBusy;
};

// From the settings file in the site folder (with its separator); defaults when it or the
// fields are missing.
FeedSettings ReadFeedSettings(const std::string& site_path);
// Writes both settings into the settings file, under the settings' save lock.
Status SaveFeedSettings(const std::string& site_path, const FeedSettings& settings);

}  // namespace orbitel::schedule
