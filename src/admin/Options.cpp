#include "admin/Options.h"

#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"
#include "site/AccessControl.h"
#include "site/ErrorHandler.h"
#include "site/PageContext.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"

namespace orbitel::admin {

Options::Options() : PageFrame({"CalendarOptions.asp", site::DateStep::kNone, site::kAdminLevel}) {}

std::string Options::Login() {
  std::string message;
  site::RunLogged("Options.Login", [&message]() -> Status {
    site::SiteState& site = site::Site();
    if (!site.PageContext) return Status::Error(errors::kObjectRequired, "Object required");
    site::PageContext& context = *site.PageContext;
    const std::string name = context.RequestText("cstrUserName");
    const std::string password = context.RequestText("cstrPassword");
    if (context.RequestText("action") != "Login") return Status::Ok();
    if (name.empty()) {
      message = "Please enter your User Name.";
      return Status::Ok();
    }
    if (password.empty()) {
      message = "Please enter your password.";
      return Status::Ok();
    }
    // Both comparisons ignore case, the password's too; the team account is tried first, so
    // an administrator account that repeats it gives user rights only.
    const std::string typed_name = ToLower(name);
    const std::string typed_password = ToLower(password);
    if (typed_name == ToLower(site.UserUserName) && typed_password == ToLower(site.UserPassword)) {
      context.SetSession(site::kSessionKey, site::kUserSession);
    } else if (typed_name == ToLower(site.AdminUserName) &&
               typed_password == ToLower(site.AdminPassword)) {
      context.SetSession(site::kSessionKey, site::kAdminSession);
    } else {
      message = "Sorry, wrong User Name or Password. Please try again.";
      return Status::Ok();
    }
    const std::string return_url = context.RequestText("ReturnUrl");
    context.Redirect(return_url.empty() ? "default.asp" : return_url);
    return Status::Ok();
  });
  return message;
}

void Options::ValidateAdminAccess() {
  site::GetSiteVars();
  CheckPageAccess();
}

std::string Options::GetExchangeDomain() const { return site::Site().ExchangeServerName; }
std::string Options::GetLocationEntry() const { return site::Site().LocationEntry; }
std::string Options::GetLocationNoEntry() const { return site::Site().LocationNoEntry; }
std::string Options::GetUserUserName() const { return site::Site().UserUserName; }
std::string Options::GetUserPassword() const { return site::Site().UserPassword; }
std::string Options::GetAdminUserName() const { return site::Site().AdminUserName; }
std::string Options::GetAdminPassword() const { return site::Site().AdminPassword; }

std::string Options::ShowExchangeConnectionMethod(bool yes) const {
  return site::Site().ExchangeViaBackoffice == yes ? "checked" : "";
}

std::string Options::ShowLocation(bool yes) const {
  return (site::Site().ShowLocation != "No") == yes ? "checked" : "";
}

}  // namespace orbitel::admin
