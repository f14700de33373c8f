#pragma once
// What a site is connected to: the organisation's directory, the calendar stores and the
// clock. The program makes one set per site when it starts (`orbitel serve`, a test, a
// benchmark) and hands it to the site's request threads, which bind it while they answer for
// the site (UsingServices); nothing in it changes while pages run.

#include <functional>
#include <memory>

#include "directory/Directory.h"
#include "runtime/Date.h"
#include "store/StoreProvider.h"

namespace orbitel::site {

struct SiteServices {
  // The organisation's directory; null means this computer is in no domain.
  std::shared_ptr<const directory::Directory> directory;
  // Where the stores are: the local store's root (its sub-folders are the mail domains), the
  // CalDAV account, whether CalDAV calendars are mirrored.
  data::StoreSettings stores;
  // The store providers a connection or appointment object chooses from.
  data::StoreProviders providers;
  // The present moment as the pages see it; empty: the system's local time.
  std::function<Date()> clock;
};

// Services with the two store providers (the local store and CalDAV) made for `stores`.
SiteServices MakeSiteServices(std::shared_ptr<const directory::Directory> directory,
                              data::StoreSettings stores);

// The services of the site the calling thread answers for; with none bound, a site in no
// domain with no store providers.
const SiteServices& Services();

// Binds the calling thread to a site's services for as long as it lives (scopes nest).
class UsingServices {
 public:
  explicit UsingServices(const SiteServices& services);
  ~UsingServices();
  UsingServices(const UsingServices&) = delete;
  UsingServices& operator=(const UsingServices&) = delete;

 private:
  const SiteServices* previous_;
};

}  // namespace orbitel::site
