#pragma once
// What a browser sends a served site: pages, forms posted with the token they carry, sign-in.
// Over HTTPS when given the one certificate to trust; pages are asked for under `base`, the
// folder the site is served at ("" for the root).

#include <httplib.h>

#include <regex>
#include <string>

namespace orbitel::host {

// The session cookie an answer sets ("orbitel_session=..."), empty when none.
inline std::string CookieOf(const httplib::Result& answer) {
  const std::string header = answer ? answer->get_header_value("Set-Cookie") : "";
  return header.substr(0, header.find(';'));
}

// The value of a form's hidden field.
inline std::string HiddenOf(const std::string& html, const std::string& name = "FormToken") {
  std::smatch match;
  std::regex_search(html, match, std::regex("name=\"" + name + "\" value=\"([^\"]*)\""));
  return match[1];
}

struct SiteVisitor {
  std::string origin;  // "http://127.0.0.1:8080"
  std::string base = "";
  std::string trusted_certificate = "";

  httplib::Client Client() const {
    httplib::Client client(origin);
    if (!trusted_certificate.empty()) {
      client.set_ca_cert_path(trusted_certificate);
      client.enable_server_certificate_verification(true);
    }
    client.set_read_timeout(20);
    return client;
  }
  httplib::Result Get(const std::string& page, const std::string& cookie = "") const {
    return Client().Get(base + page, {{"Cookie", cookie}});
  }
  httplib::Result Post(const std::string& page, const std::string& cookie, const std::string& body) const {
    return Client().Post(base + page, {{"Cookie", cookie}}, body, "application/x-www-form-urlencoded");
  }
  // Fills in the form of the page at `form` (a fresh session's when no cookie) and posts it.
  httplib::Result Submit(const std::string& form, std::string cookie, const std::string& fields) const {
    auto page = Get(form, cookie);
    if (cookie.empty()) cookie = CookieOf(page);
    return Post(form.substr(0, form.find('?')), cookie, "FormToken=" + HiddenOf(page->body) + "&" + fields);
  }
  // The cookie of a new session signed in with the account (its password is its name unless
  // given); empty when the sign-in is refused.
  std::string SignIn(const std::string& account = "team", const std::string& password = "") const {
    auto answer = Submit("/CalendarLogin.asp", "",
                         "cstrUserName=" + account + "&cstrPassword=" + (password.empty() ? account : password) +
                             "&action=Login");
    return answer && answer->status == 302 ? CookieOf(answer) : "";
  }
};

}  // namespace orbitel::host
