#include "site/Clock.h"

#include "site/SiteServices.h"

namespace orbitel::site {

Date Now() {
  const SiteServices& services = Services();
  return services.clock ? services.clock() : Date::Now();
}

Date Today() { return Now().DatePart(); }

}  // namespace orbitel::site
