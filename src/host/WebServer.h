#pragma once
// The web server of a site folder: a route per page name, the pictures, help pages and style
// sheet of the folder, sessions sealed in cookies, and the safety rules every request passes
// (the form token on each POST, writes from posted forms only, redirects kept on this site,
// request bodies of at most 1 MiB, addresses of at most 8 KiB).
//
// Connections are kept by one event thread (libmicrohttpd over epoll), which never waits for a
// page: slow or idle connections cost a little memory each and no worker, and each has a
// deadline for silence. Pages run on the request pool's workers, which are the site's request
// threads: each keeps its own site state. A burst beyond what the pool can queue is answered
// 503 at once.

#include <cstddef>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "host/ServedSite.h"
#include "runtime/Status.h"

namespace orbitel::host {

struct ServerSettings {
  // The sites answered for: one with an empty name, served at "/"; or several, each at
  // "/<name>/", with a plain index of them at "/".
  std::vector<ServedSite> sites;
  std::string address = "127.0.0.1";
  int port = 8080;  // 0 picks a free port
  int threads = 8;
  std::ostream* access_log = nullptr;  // one line per request; null for none
  std::ostream* error_log = nullptr;   // what went wrong behind a 500; null for none
  // Reverse proxies (their addresses as they connect) whose X-Forwarded-For names the visitor
  // and whose X-Forwarded-Proto says whether the visitor came over HTTPS.
  std::vector<std::string> trusted_proxies;
  // The session cookie is marked Secure on every answer (the site is reached over HTTPS only).
  bool secure_cookies = false;
  // The most the page cache keeps (pages the same for every visitor of a sign-in level, plain
  // and compressed); 0 keeps none.
  std::size_t page_cache_bytes = 64 << 20;
};

class WebServer {
 public:
  explicit WebServer(ServerSettings settings);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // Reads (or makes) the site's session key and takes the address for this server alone (a
  // port in use, by Orbitel or anything else, is refused); returns the port it listens on, or
  // why it cannot.
  Result<int> Bind();
  // Answers requests until Stop; returns when the requests in flight have been answered.
  void Serve();
  // Safe from any thread; after a Stop, Serve returns at once.
  void Stop();

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

// The name of the cookie that carries the session.
inline constexpr const char* kSessionCookie = "orbitel_session";
// The form field that carries the session's form token on every POST.
inline constexpr const char* kFormTokenField = "FormToken";
// The largest request body the server reads.
inline constexpr std::size_t kMaxBodyBytes = 1 << 20;
// The longest address (path and query) the server reads.
inline constexpr std::size_t kMaxTargetBytes = 8 << 10;

}  // namespace orbitel::host
