#pragma once
// The site state: one copy per request thread, surviving from one request to the next on that
// thread. The server's worker threads are the request threads, so a thread's second request
// sees its first one's leftovers; the views empty CalendarHtml and ErrorText before generating.
// Nothing here is shared between threads, so nothing here is locked.

#include <memory>
#include <string>

namespace orbitel::site {

class PageContext;

struct SiteState {
  // The context handed to this thread's last OnStartPage; replaced by every page start.
  std::shared_ptr<site::PageContext> PageContext;
  // The folder of the running page, with its trailing separator; empty until first found.
  std::string SitePath;
  // The date the page shows, kept as its general date text ("3/5/2003").
  std::string RequestedDate;
  std::string CalendarHtml;
  std::string ErrorText;

  // The settings file's values.
  std::string ExchangeServerName;
  bool ExchangeViaBackoffice = false;
  std::string ShowLocation;
  std::string LocationEntry;
  std::string LocationNoEntry;
  std::string UserUserName;
  std::string UserPassword;
  std::string AdminUserName;
  std::string AdminPassword;

  // The calendar store's folder-URL prefix and provider name, made from the settings.
  std::string StoreUrlBase;
  std::string StoreProvider;
  // Seconds between two refreshes of the CalDAV calendars' mirror (the settings' MirrorInterval).
  int MirrorInterval = 60;
  // The days before and after today the mirror holds (MirrorDaysBack, MirrorDaysAhead); pages
  // asking beyond them are answered by the calendar server.
  int MirrorDaysBack = 365;
  int MirrorDaysAhead = 730;
  // True only when the last settings load ran to its end, domain look-up included.
  bool SettingsLoaded = false;
  std::string DomainDnsName;
};

// This thread's site state.
SiteState& Site();

}  // namespace orbitel::site
