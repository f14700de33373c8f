#include "host/HttpPageContext.h"

#include "runtime/Secrets.h"
#include "site/AccessControl.h"

namespace orbitel::host {

HttpPageContext::HttpPageContext(site::RequestFields query, site::RequestFields form, bool posted,
                                 std::string page_path, std::optional<SessionData> session)
    : query_(std::move(query)),
      form_(std::move(form)),
      posted_(posted),
      page_path_(std::move(page_path)),
      session_(std::move(session)) {}

std::optional<std::string> HttpPageContext::Request(std::string_view key) const {
  if (posted_) return form_.Find(key);
  if (key == kActionField) return std::nullopt;
  return query_.Find(key);
}

std::string HttpPageContext::PostedAction() const {
  return posted_ ? form_.Find(kActionField).value_or("") : std::string();
}

std::string HttpPageContext::ServerVariable(std::string_view name) const {
  return name == "PATH_TRANSLATED" ? page_path_ : std::string();
}

void HttpPageContext::Redirect(const std::string& url) {
  if (!redirect_) redirect_ = url;
}

std::string HttpPageContext::Session(std::string_view key) const {
  return session_ && key == site::kSessionKey ? session_->level : std::string();
}

void HttpPageContext::SetSession(std::string_view key, std::string value) {
  // The sign-in value is the only one the pages keep.
  if (key != site::kSessionKey) return;
  EnsureSession();
  if (session_->level == value) return;
  session_->level = std::move(value);
  session_->form_token = RandomHex(16);
  session_changed_ = true;
}

std::string HttpPageContext::FormToken() {
  EnsureSession();
  return session_->form_token;
}

void HttpPageContext::EnsureSession() {
  if (session_) return;
  session_ = SessionData{"", RandomHex(16), UnixNow()};
  session_changed_ = true;
}

}  // namespace orbitel::host
