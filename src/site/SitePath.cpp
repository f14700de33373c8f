#include "site/SitePath.h"

#include <string>

#include "site/ErrorHandler.h"
#include "site/PageContext.h"
#include "site/SiteState.h"

namespace orbitel::site {

void GetCurrentPath() {
  RunLogged("DataCheaking.GetCurrentPath", [] {
    SiteState& site = Site();
    const std::string page_path = site.PageContext->ServerVariable("PATH_TRANSLATED");
    const auto separator = page_path.find_last_of("/\\");
    // A separator only at the very first position does not make a folder.
    site.SitePath = (separator == std::string::npos || separator == 0)
                        ? std::string()
                        : page_path.substr(0, separator + 1);
    return Status::Ok();
  });
}

}  // namespace orbitel::site
