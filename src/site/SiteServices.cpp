#include "site/SiteServices.h"

#include "data/StoreProvider.h"

namespace orbitel::site {

namespace {
SiteServices& Current() {
  static SiteServices services;
  return services;
}
}  // namespace

const SiteServices& Services() { return Current(); }

void SetServices(SiteServices services) {
  // The store providers open their folders under the same root the site finds its domains in.
  data::ConfigureStores(data::StoreSettings{services.store_root.string()});
  Current() = std::move(services);
}

}  // namespace orbitel::site
