#pragma once
// What the web server hands a page object when its page starts: the request's values, the
// server variables, the response's redirect, the session and the server's URL encoding. The host
// implements it over a real HTTP request; MemoryPageContext.h is a plain one for tests.
// A context belongs to one request and is used from that request's thread only.

#include <optional>
#include <string>
#include <string_view>

namespace orbitel::site {

class PageContext {
 public:
  virtual ~PageContext() = default;

  // Request(key): the query string's value first, then the form's; nullopt when neither has
  // the key. A key given several times reads as its values joined with ", ".
  virtual std::optional<std::string> Request(std::string_view key) const = 0;
  // A server variable such as "PATH_TRANSLATED" (the page's physical path); empty if unknown.
  virtual std::string ServerVariable(std::string_view name) const = 0;
  // Sends the browser elsewhere; the page's remaining calls still run.
  virtual void Redirect(const std::string& url) = 0;
  // Session values; an unset key reads as empty.
  virtual std::string Session(std::string_view key) const = 0;
  virtual void SetSession(std::string_view key, std::string value) = 0;

  // Request(key) with a missing key read as empty text, as the pages compare it.
  std::string RequestText(std::string_view key) const { return Request(key).value_or(""); }
};

// The server's classic URL encoding: letters and digits stay, a space becomes "+", every other
// byte of the UTF-8 text becomes %XX with upper-case hex.
std::string UrlEncode(std::string_view text);

}  // namespace orbitel::site
