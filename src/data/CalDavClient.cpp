#include "data/CalDavClient.h"

#include <curl/curl.h>

#include <mutex>
#include <string_view>

#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

constexpr long kConnectTimeoutMs = 5000;
constexpr long kRequestTimeoutMs = 30000;
constexpr std::size_t kMaxResponseBytes = 32u << 20;

struct EasyCleanup {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using EasyHandle = std::unique_ptr<CURL, EasyCleanup>;

struct SlistFree {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, SlistFree>;

// curl_global_init is not thread-safe on every build of libcurl, and request threads create
// clients concurrently; it runs once, before the first handle, and is never undone.
bool CurlReady() {
  static std::once_flag once;
  static bool ready = false;
  std::call_once(once, [] { ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
  return ready;
}

Status Unreachable(const std::string& url, const std::string& why) {
  return Status::Error(errors::kCannotOpenFolder,
                       "The calendar store at " + url + " cannot be reached: " + why);
}

// What one transfer collects; the callbacks write into it.
struct Transfer {
  HttpResponse response;
  bool too_large = false;
};

std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  const std::size_t bytes = size * count;
  if (transfer->response.body.size() + bytes > kMaxResponseBytes) {
    transfer->too_large = true;
    return 0;  // curl ends the transfer with a write error
  }
  transfer->response.body.append(data, bytes);
  return bytes;
}

std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  const std::size_t bytes = size * count;
  const std::string_view line(data, bytes);
  // A new status line starts another answer (after a 100 Continue): its headers replace these.
  if (line.substr(0, 5) == "HTTP/") {
    transfer->response.etag.clear();
    transfer->response.dav.clear();
    return bytes;
  }
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return bytes;
  const std::string name = ToLower(line.substr(0, colon));
  std::string value(line.substr(colon + 1));
  while (!value.empty() && (value.back() == '\r' || value.back() == '\n')) value.pop_back();
  value = Trim(value);
  if (name == "etag") {
    transfer->response.etag = value;
  } else if (name == "dav") {
    if (!transfer->response.dav.empty()) transfer->response.dav += ", ";
    transfer->response.dav += value;
  }
  return bytes;
}

}  // namespace

struct CalDavClient::Handle {
  EasyHandle easy;
};

CalDavClient::CalDavClient(std::optional<StoreCredentials> credentials)
    : handle_(std::make_unique<Handle>()), credentials_(std::move(credentials)) {}

CalDavClient::~CalDavClient() = default;

Result<HttpResponse> CalDavClient::Send(const HttpRequest& request) {
  if (!CurlReady()) return Unreachable(request.url, "the HTTP library failed to start");
  if (!handle_->easy) {
    handle_->easy.reset(curl_easy_init());
    if (!handle_->easy) return Unreachable(request.url, "the HTTP library failed to start");
  } else {
    // Every option is set again below; the connection itself stays open for the next request.
    curl_easy_reset(handle_->easy.get());
  }
  CURL* easy = handle_->easy.get();

  HeaderList headers;
  const auto add_header = [&headers](const std::string& line) {
    curl_slist* grown = curl_slist_append(headers.get(), line.c_str());
    if (grown == nullptr) return false;
    (void)headers.release();
    headers.reset(grown);
    return true;
  };
  // No "Expect: 100-continue" round trip before large bodies.
  bool listed = add_header("Expect:");
  if (!request.body.empty() && !request.content_type.empty()) {
    listed = listed && add_header("Content-Type: " + request.content_type);
  }
  for (const std::string& line : request.headers) listed = listed && add_header(line);
  if (!listed) return Unreachable(request.url, "out of memory");

  Transfer transfer;
  char error[CURL_ERROR_SIZE] = "";
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, error);
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  // Timeouts by signal would reach whichever request thread the process happens to pick.
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, kRequestTimeoutMs);
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaxResponseBytes));
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, OnHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers.get());
  if (credentials_) {
    curl_easy_setopt(easy, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    curl_easy_setopt(easy, CURLOPT_USERNAME, credentials_->user.c_str());
    curl_easy_setopt(easy, CURLOPT_PASSWORD, credentials_->password.c_str());
  }
  if (request.method == "GET") {
    curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
  } else {
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    if (!request.body.empty()) {
      curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
      curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                       static_cast<curl_off_t>(request.body.size()));
    } else if (request.method == "PUT") {
      curl_easy_setopt(easy, CURLOPT_POSTFIELDS, "");
      curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(0));
    } else {
      curl_easy_setopt(easy, CURLOPT_NOBODY, request.method == "HEAD" ? 1L : 0L);
    }
  }

  const CURLcode code = curl_easy_perform(easy);
  // The error buffer and header list live on this stack frame only.
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, nullptr);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, nullptr);
  if (transfer.too_large || code == CURLE_FILESIZE_EXCEEDED) {
    return Unreachable(request.url, "its answer is larger than " +
                                        std::to_string(kMaxResponseBytes >> 20) + " MiB");
  }
  if (code != CURLE_OK) {
    return Unreachable(request.url, error[0] != '\0' ? std::string(error)
                                                     : std::string(curl_easy_strerror(code)));
  }
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &transfer.response.status);
  return std::move(transfer.response);
}

}  // namespace orbitel::data
