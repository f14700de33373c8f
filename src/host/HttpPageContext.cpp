#include "host/HttpPageContext.h"

#include "site/AccessControl.h"

namespace orbitel::host {

HttpPageContext::HttpPageContext(site::RequestFields query, site::RequestFields form,
                                 std::string page_path, SessionStore& sessions,
                                 const std::string& session_id)
    : query_(std::move(query)),
      form_(std::move(form)),
      page_path_(std::move(page_path)),
      sessions_(sessions) {
  if (!session_id.empty()) {
    session_ = sessions_.Find(session_id);
    if (session_) session_id_ = session_id;
  }
}

std::optional<std::string> HttpPageContext::Request(std::string_view key) const {
  if (auto value = query_.Find(key)) return value;
  return form_.Find(key);
}

std::string HttpPageContext::ServerVariable(std::string_view name) const {
  return name == "PATH_TRANSLATED" ? page_path_ : std::string();
}

void HttpPageContext::Redirect(const std::string& url) {
  if (!redirect_) redirect_ = url;
}

std::string HttpPageContext::Session(std::string_view key) const {
  return session_ ? session_->Get(key) : std::string();
}

void HttpPageContext::SetSession(std::string_view key, std::string value) {
  const bool had_session = session_ != nullptr;
  EnsureSession();
  // Signing in gets a fresh id, so an id someone learnt before sign-in opens nothing after it.
  if (had_session && key == site::kSessionKey && session_->Get(key) != value) {
    std::string renewed = sessions_.Renew(session_id_);
    if (!renewed.empty()) session_id_ = new_session_id_ = std::move(renewed);
  }
  session_->Set(key, std::move(value));
}

std::string HttpPageContext::FormToken() {
  EnsureSession();
  return session_->form_token();
}

void HttpPageContext::EnsureSession() {
  if (session_) return;
  session_ = sessions_.Create(&session_id_);
  new_session_id_ = session_id_;
}

}  // namespace orbitel::host
