#include "site/SiteServices.h"

#include <utility>

#include "caldav/CalDavStore.h"
#include "localstore/LocalStore.h"

namespace orbitel::site {

namespace {
thread_local const SiteServices* bound_services = nullptr;
}  // namespace

SiteServices MakeSiteServices(std::shared_ptr<const directory::Directory> directory,
                              data::StoreSettings stores) {
  SiteServices services;
  services.directory = std::move(directory);
  services.providers = data::StoreProviders(
      {data::MakeLocalStoreProvider(stores.store_root), data::MakeCalDavProvider(stores)});
  services.stores = std::move(stores);
  return services;
}

const SiteServices& Services() {
  static const SiteServices none;
  return bound_services ? *bound_services : none;
}

UsingServices::UsingServices(const SiteServices& services) : previous_(bound_services) {
  bound_services = &services;
}

UsingServices::~UsingServices() { bound_services = previous_; }

}  // namespace orbitel::site
