#pragma once
// The page context the web server hands a page object: the request's query string and form,
// the page's physical path, the visitor's session, and the redirect the page asked for. Made
// per request and used on that request's thread only.
//
// Writes come only from a posted form: on a POST (whose form token the server has checked
// before any page runs) the request's values are the form's alone; on any other request the
// "action" that every write of the site's pages asks for reads as absent, so a link or a
// redirect from elsewhere shows the page as for a plain visit and writes nothing.

#include <memory>
#include <optional>
#include <string>

#include "host/CookieSession.h"
#include "site/PageContext.h"
#include "site/RequestFields.h"

namespace orbitel::host {

// The request value that names what a posted form asks the page to do.
inline constexpr const char* kActionField = "action";

class HttpPageContext : public site::PageContext {
 public:
  // session: what the visitor's cookie carries, if anything; page_path the page's file path in
  // the site folder ("<site>/CalendarMonth.asp"), which the pages read as PATH_TRANSLATED.
  HttpPageContext(site::RequestFields query, site::RequestFields form, bool posted, std::string page_path,
                  std::optional<SessionData> session);

  std::optional<std::string> Request(std::string_view key) const override;
  std::string ServerVariable(std::string_view name) const override;
  // The first redirect counts: the browser leaves with it, whatever the page asks after it.
  void Redirect(const std::string& url) override;
  std::string Session(std::string_view key) const override;
  // A change of the sign-in value gives the session a new form token, so a token seen before
  // sign-in posts nothing after it.
  void SetSession(std::string_view key, std::string value) override;

  // The token the page's forms carry, starting a session when the visitor has none.
  std::string FormToken();
  // The action a posted form asks for; empty for anything but a POST.
  std::string PostedAction() const;

  // Asks that every other session of the site end (the sign-in passwords changed); this
  // visitor's goes on.
  void EndOtherSessions() { end_other_sessions_ = true; }
  bool end_other_sessions() const { return end_other_sessions_; }

  const std::optional<std::string>& redirect() const { return redirect_; }
  // The session as it stands after the page, and whether the browser must be sent it anew.
  const std::optional<SessionData>& session() const { return session_; }
  bool session_changed() const { return session_changed_; }

 private:
  void EnsureSession();

  site::RequestFields query_, form_;
  bool posted_;
  std::string page_path_;
  std::optional<SessionData> session_;
  bool session_changed_ = false;
  bool end_other_sessions_ = false;
  std::optional<std::string> redirect_;
};

}  // namespace orbitel::host
