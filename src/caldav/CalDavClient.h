#pragma once
// The HTTP side of the CalDAV store, on libcurl: one request at a time over one kept-alive
// connection, signed in with the configured store account; or a batch of requests sent at once
// from the calling thread (libcurl's multi interface, no threads of its own). Every request is
// bounded so that a slow, unreachable or hostile server cannot hold a page or exhaust memory:
// 5 seconds to connect, 30 seconds in all, at most 32 MiB of answer, redirects not followed,
// http and https only. A client belongs to one thread at a time; any number of clients may run
// at once.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Status.h"
#include "store/StoreCredentials.h"

namespace orbitel::data {

inline constexpr std::chrono::milliseconds kRequestTimeout{30000};

struct HttpRequest {
  std::string method;                // GET, PUT, DELETE, OPTIONS, PROPFIND, REPORT, MKCALENDAR...
  std::string url;
  std::string body;                  // sent when not empty
  std::string content_type;          // of the body
  std::vector<std::string> headers;  // further "Name: value" lines (Depth, If-Match...)
};

struct HttpResponse {
  long status = 0;
  std::string body;
  std::string etag;  // the ETag header, as sent (quotes included)
  std::string dav;   // the DAV header: the classes and features the server offers
};

class CalDavClient {
 public:
  explicit CalDavClient(std::optional<StoreCredentials> credentials);
  ~CalDavClient();
  CalDavClient(const CalDavClient&) = delete;
  CalDavClient& operator=(const CalDavClient&) = delete;

  // Any HTTP answer, whatever its status; errors::kCannotOpenFolder when none came (the server
  // refused or did not answer in time, the URL is not http(s), the answer was too large).
  Result<HttpResponse> Send(const HttpRequest& request);

 private:
  struct Handle;
  std::unique_ptr<Handle> handle_;
  std::optional<StoreCredentials> credentials_;
};

// Sends every request, at most in_flight of them at a time over as many kept-alive
// connections, and returns the answers in the order of the requests: each what
// CalDavClient::Send would have returned for it, except that the answers together hold at most
// max_total_bytes of body (so a batch cannot exhaust memory either); one that would take them
// beyond is errors::kCannotOpenFolder. Returns when the last one has ended. Each request is
// given the client's 30 seconds unless the caller grants more: a background refresh, which no
// page waits for, lets a server take its time over a large calendar. Once *cancel is set (a
// server stopping), the requests not yet answered end within a second, unanswered.
std::vector<Result<HttpResponse>> SendAll(const std::vector<HttpRequest>& requests,
                                          const std::optional<StoreCredentials>& credentials,
                                          std::size_t in_flight, std::size_t max_total_bytes,
                                          std::chrono::milliseconds timeout = kRequestTimeout,
                                          const std::atomic<bool>* cancel = nullptr);

}  // namespace orbitel::data
