#pragma once
// How the appointment page's object reads its request and names the user's calendar folder.

#include <string>
#include <string_view>

#include "site/PageContext.h"
#include "site/SiteState.h"

namespace orbitel::item {

// The request's value for key, empty when absent (or when no page has started on this thread).
inline std::string RequestValue(std::string_view key) {
  const auto& context = site::Site().PageContext;
  return context ? context->RequestText(key) : std::string();
}

// The user's calendar folder URL in the store.
inline std::string UserFolder(const std::string& user) {
  return site::Site().StoreUrlBase + user + "/calendar/";
}

// An item name as a quoted text of a store query, apostrophes doubled.
inline std::string QuotedName(std::string_view name) {
  std::string quoted;
  for (char c : name) quoted += c == '\'' ? std::string("''") : std::string(1, c);
  return quoted;
}

}  // namespace orbitel::item
