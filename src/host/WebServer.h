#pragma once
// The web server of a site folder: a route per page name, the pictures, help pages and style
// sheet of the folder, sessions, and the safety rules every request passes (the form token on
// each POST, redirects kept on this site, request bodies of at most 1 MiB). Pages run on the
// server's worker threads, which are the site's request threads: each keeps its own site state.

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>

#include "runtime/Status.h"

namespace orbitel::host {

struct ServerSettings {
  std::filesystem::path site_folder;
  std::string address = "127.0.0.1";
  int port = 8080;  // 0 picks a free port
  int threads = 8;
  std::ostream* access_log = nullptr;  // one line per request; null for none
  std::ostream* error_log = nullptr;   // what went wrong behind a 500; null for none
};

class WebServer {
 public:
  explicit WebServer(ServerSettings settings);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // Takes the address; returns the port it listens on, or why it cannot.
  Result<int> Bind();
  // Answers requests until Stop; returns when the requests in flight have ended.
  void Serve();
  // Safe from any thread; after a Stop, Serve returns at once.
  void Stop();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// The name of the cookie that carries the session id.
inline constexpr const char* kSessionCookie = "orbitel_session";
// The form field that carries the session's form token on every POST.
inline constexpr const char* kFormTokenField = "FormToken";
// The largest request body the server reads.
inline constexpr std::size_t kMaxBodyBytes = 1 << 20;

}  // namespace orbitel::host
