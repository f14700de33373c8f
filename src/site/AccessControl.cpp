#include "site/AccessControl.h"

#include <string>

#include "site/PageContext.h"
#include "site/SiteState.h"

namespace orbitel::site {

void CheckAccess(std::int16_t level, std::string_view return_page) {
  PageContext& context = *Site().PageContext;
  const std::string session = context.Session(kSessionKey);
  if (session == kUserSession && level == kUserLevel) return;
  if (session == kAdminSession && (level == kUserLevel || level == kAdminLevel)) return;
  context.Redirect("CalendarLogin.asp?ReturnUrl=" + std::string(return_page));
}

}  // namespace orbitel::site
