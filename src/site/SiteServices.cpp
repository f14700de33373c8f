#include "site/SiteServices.h"

namespace orbitel::site {

namespace {
SiteServices& Current() {
  static SiteServices services;
  return services;
}
}  // namespace

const SiteServices& Services() { return Current(); }

void SetServices(SiteServices services) { Current() = std::move(services); }

}  // namespace orbitel::site
