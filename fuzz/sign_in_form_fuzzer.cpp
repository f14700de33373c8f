// The sign-in form: the input as the posted body of the sign-in page, decoded as the server
// decodes it and handed to the options object's Login, whose redirect then goes through the
// server's guard. A visitor is signed in exactly when sent on, and what the guard lets through
// can never split a response header.
#include <memory>
#include <optional>
#include <string>

#include "FuzzInput.h"
#include "admin/Options.h"
#include "host/RedirectGuard.h"
#include "host/UrlEncodedForm.h"
#include "site/AccessControl.h"
#include "site/MemoryPageContext.h"
#include "site/SiteState.h"

using namespace orbitel;

namespace {

// A page context whose form is a decoded request body.
class PostedForm : public site::MemoryPageContext {
 public:
  explicit PostedForm(std::string_view body) : form_(host::ParseUrlEncoded(body)) {}
  std::optional<std::string> Request(std::string_view key) const override {
    return form_.Find(key);
  }

 private:
  site::RequestFields form_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  site::SiteState& site = site::Site();
  site = site::SiteState();
  site.SitePath = fuzz::ScratchFolder().string() + "/";
  site.UserUserName = "team";
  site.UserPassword = "team";
  site.AdminUserName = "admin";
  site.AdminPassword = "admin";
  auto context = std::make_shared<PostedForm>(fuzz::InputText(data, size));
  site.PageContext = context;

  const std::string message = admin::Options().Login();
  const bool signed_in = !context->Session(site::kSessionKey).empty();
  fuzz::Require(signed_in == (context->redirects().size() == 1),
                "a visitor is sent on exactly when signed in");
  fuzz::Require(!signed_in || message.empty(), "a signed-in visitor sees no message");
  for (const std::string& url : context->redirects()) {
    const std::string guarded = host::GuardRedirect(url);
    fuzz::Require(guarded.find_first_of("\r\n") == std::string::npos,
                  "a redirect never splits the response header");
  }
  site = site::SiteState();
  return 0;
}
