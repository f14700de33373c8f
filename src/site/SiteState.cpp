#include "site/SiteState.h"

#include "site/PageContext.h"

namespace orbitel::site {

SiteState& Site() {
  thread_local SiteState state;
  return state;
}

}  // namespace orbitel::site
