#pragma once
// The page context the web server hands a page object: the request's query string and form,
// the page's physical path, the visitor's session, and the redirect the page asked for. Made
// per request and used on that request's thread only.

#include <memory>
#include <optional>
#include <string>

#include "host/SessionStore.h"
#include "site/PageContext.h"
#include "site/RequestFields.h"

namespace orbitel::host {

class HttpPageContext : public site::PageContext {
 public:
  // session_id is the id the browser sent (empty when none); page_path the page's file path in
  // the site folder ("<site>/CalendarMonth.asp"), which the pages read as PATH_TRANSLATED.
  HttpPageContext(site::RequestFields query, site::RequestFields form, std::string page_path,
                  SessionStore& sessions, const std::string& session_id);

  std::optional<std::string> Request(std::string_view key) const override;
  std::string ServerVariable(std::string_view name) const override;
  // The first redirect counts: the browser leaves with it, whatever the page asks after it.
  void Redirect(const std::string& url) override;
  std::string Session(std::string_view key) const override;
  // Starts a session when the visitor has none; a change of the sign-in value moves the
  // session to a new id.
  void SetSession(std::string_view key, std::string value) override;

  // The token the page's forms carry, starting a session when the visitor has none.
  std::string FormToken();

  const std::optional<std::string>& redirect() const { return redirect_; }
  // The id the response must hand the browser; empty when the browser's cookie stays right.
  const std::string& new_session_id() const { return new_session_id_; }

 private:
  void EnsureSession();

  site::RequestFields query_, form_;
  std::string page_path_;
  SessionStore& sessions_;
  std::string session_id_;
  std::shared_ptr<host::Session> session_;
  std::string new_session_id_;
  std::optional<std::string> redirect_;
};

}  // namespace orbitel::host
