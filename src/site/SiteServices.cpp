#include "site/SiteServices.h"

#include "data/StoreProvider.h"

namespace orbitel::site {

namespace {
SiteServices& Current() {
  static SiteServices services;
  return services;
}

thread_local const SiteServices* bound_services = nullptr;
}  // namespace

const SiteServices& Services() { return bound_services ? *bound_services : Current(); }

UsingServices::UsingServices(const SiteServices& services) : previous_(bound_services) {
  bound_services = &services;
}

UsingServices::~UsingServices() { bound_services = previous_; }

void SetServices(SiteServices services) {
  // The store providers open their folders under the same root the site finds its domains in.
  data::StoreSettings stores = data::StoreConfiguration();
  stores.store_root = services.store_root.string();
  data::ConfigureStores(std::move(stores));
  Current() = std::move(services);
}

}  // namespace orbitel::site
