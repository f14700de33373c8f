#include "caldav/CalDavClient.h"

#include <curl/curl.h>

#include <algorithm>
#include <mutex>
#include <string_view>

#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

constexpr long kConnectTimeoutMs = 5000;
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
  // In a batch: the bytes its answers hold so far, and how many they may hold in all.
  std::size_t* batch_bytes = nullptr;
  std::size_t batch_limit = 0;
  bool batch_full = false;
};

std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  const std::size_t bytes = size * count;
  if (transfer->response.body.size() + bytes > kMaxResponseBytes) {
    transfer->too_large = true;
    return 0;  // curl ends the transfer with a write error
  }
  if (transfer->batch_bytes != nullptr) {
    if (*transfer->batch_bytes + bytes > transfer->batch_limit) {
      transfer->batch_full = true;
      return 0;
    }
    *transfer->batch_bytes += bytes;
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

// One request on an easy handle: what curl reads and writes while the request runs, kept at a
// fixed address until it ends.
struct Exchange {
  HeaderList headers;
  Transfer transfer;
  char error[CURL_ERROR_SIZE] = "";
};

// Sets every option of the request on a fresh or reset handle, bounded as the header says.
Status Prepare(CURL* easy, const HttpRequest& request,
               const std::optional<StoreCredentials>& credentials, Exchange& exchange,
               std::chrono::milliseconds timeout = kRequestTimeout) {
  const auto add_header = [&exchange](const std::string& line) {
    curl_slist* grown = curl_slist_append(exchange.headers.get(), line.c_str());
    if (grown == nullptr) return false;
    (void)exchange.headers.release();
    exchange.headers.reset(grown);
    return true;
  };
  // No "Expect: 100-continue" round trip before large bodies.
  bool listed = add_header("Expect:");
  if (!request.body.empty() && !request.content_type.empty()) {
    listed = listed && add_header("Content-Type: " + request.content_type);
  }
  for (const std::string& line : request.headers) listed = listed && add_header(line);
  if (!listed) return Unreachable(request.url, "out of memory");

  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, exchange.error);
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  // Timeouts by signal would reach whichever request thread the process happens to pick.
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(timeout.count()));
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaxResponseBytes));
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &exchange.transfer);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, OnHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &exchange.transfer);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, exchange.headers.get());
  if (credentials) {
    curl_easy_setopt(easy, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    curl_easy_setopt(easy, CURLOPT_USERNAME, credentials->user.c_str());
    curl_easy_setopt(easy, CURLOPT_PASSWORD, credentials->password.c_str());
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
  return Status::Ok();
}

// The answer of a request that ended with code, or why there is none.
Result<HttpResponse> Finish(CURL* easy, const HttpRequest& request, CURLcode code,
                            Exchange& exchange) {
  // The error buffer and header list live with the exchange only.
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, nullptr);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, nullptr);
  if (exchange.transfer.batch_full) {
    return Unreachable(request.url, "the answers of the requests sent with it are larger than " +
                                        std::to_string(exchange.transfer.batch_limit >> 20) +
                                        " MiB in all");
  }
  if (exchange.transfer.too_large || code == CURLE_FILESIZE_EXCEEDED) {
    return Unreachable(request.url, "its answer is larger than " +
                                        std::to_string(kMaxResponseBytes >> 20) + " MiB");
  }
  if (code != CURLE_OK) {
    return Unreachable(request.url, exchange.error[0] != '\0'
                                        ? std::string(exchange.error)
                                        : std::string(curl_easy_strerror(code)));
  }
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &exchange.transfer.response.status);
  return std::move(exchange.transfer.response);
}

struct MultiCleanup {
  void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
};
using MultiHandle = std::unique_ptr<CURLM, MultiCleanup>;

// An easy handle while it belongs to a multi handle; taken out again however the batch ends, as
// curl requires before either is cleaned up.
struct Slot {
  EasyHandle easy;
  CURLM* multi = nullptr;  // set while the handle is added
  std::size_t request = 0;
  std::unique_ptr<Exchange> exchange;

  void Detach() {
    if (multi != nullptr) curl_multi_remove_handle(multi, easy.get());
    multi = nullptr;
  }
  ~Slot() { Detach(); }
};

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
  Exchange exchange;
  if (Status prepared = Prepare(easy, request, credentials_, exchange); !prepared.ok()) {
    return prepared;
  }
  const CURLcode code = curl_easy_perform(easy);
  return Finish(easy, request, code, exchange);
}

std::vector<Result<HttpResponse>> SendAll(const std::vector<HttpRequest>& requests,
                                          const std::optional<StoreCredentials>& credentials,
                                          std::size_t in_flight, std::size_t max_total_bytes,
                                          std::chrono::milliseconds timeout,
                                          const std::atomic<bool>* cancel) {
  std::vector<Result<HttpResponse>> answers;
  answers.reserve(requests.size());
  for (const HttpRequest& request : requests) {
    answers.emplace_back(Unreachable(request.url, "the HTTP library failed to start"));
  }
  if (requests.empty() || !CurlReady()) return answers;
  MultiHandle multi(curl_multi_init());
  if (!multi) return answers;
  // The slots are declared after the multi handle, so they leave it before it is cleaned up.
  std::vector<Slot> slots(std::max<std::size_t>(1, std::min(in_flight, requests.size())));
  std::vector<Slot*> idle;
  for (Slot& slot : slots) idle.push_back(&slot);

  std::size_t next = 0;
  std::size_t running = 0;
  std::size_t received = 0;  // body bytes held by the answers so far
  // Puts the next request on an idle slot; a request that cannot start keeps its failure.
  const auto start_next = [&]() {
    while (next < requests.size() && !idle.empty()) {
      const std::size_t index = next++;
      Slot* slot = idle.back();
      if (!slot->easy) {
        slot->easy.reset(curl_easy_init());
        if (!slot->easy) continue;
      } else {
        // Each handle keeps its connection in the multi handle's pool for the next request.
        curl_easy_reset(slot->easy.get());
      }
      slot->exchange = std::make_unique<Exchange>();
      Status prepared =
          Prepare(slot->easy.get(), requests[index], credentials, *slot->exchange, timeout);
      if (!prepared.ok()) {
        answers[index] = prepared;
        continue;
      }
      slot->exchange->transfer.batch_bytes = &received;
      slot->exchange->transfer.batch_limit = max_total_bytes;
      curl_easy_setopt(slot->easy.get(), CURLOPT_PRIVATE, static_cast<void*>(slot));
      if (curl_multi_add_handle(multi.get(), slot->easy.get()) != CURLM_OK) continue;
      slot->multi = multi.get();
      slot->request = index;
      idle.pop_back();
      ++running;
    }
  };

  start_next();
  while (running > 0) {
    if (cancel != nullptr && cancel->load()) {
      for (std::size_t index = 0; index < requests.size(); ++index) {
        answers[index] = Unreachable(requests[index].url, "the request was cancelled");
      }
      return answers;
    }
    int still_running = 0;
    if (curl_multi_perform(multi.get(), &still_running) != CURLM_OK) break;
    int queued = 0;
    while (CURLMsg* message = curl_multi_info_read(multi.get(), &queued)) {
      if (message->msg != CURLMSG_DONE) continue;
      void* owner = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &owner);
      auto* slot = static_cast<Slot*>(owner);
      const CURLcode code = message->data.result;
      slot->Detach();
      answers[slot->request] =
          Finish(slot->easy.get(), requests[slot->request], code, *slot->exchange);
      slot->exchange.reset();
      idle.push_back(slot);
      --running;
    }
    start_next();
    if (running == 0) break;
    // Sleeps until a transfer can go on; the transfers' own timeouts bound the wait.
    if (curl_multi_poll(multi.get(), nullptr, 0, 1000, nullptr) != CURLM_OK) break;
  }
  return answers;
}

}  // namespace orbitel::data
