#include "host/WebServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <malloc.h>
#include <microhttpd.h>
#include <netdb.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "host/AnswerBody.h"
#include "host/Compression.h"
#include "host/CookieSession.h"
#include "host/HealthCheck.h"
#include "host/HttpPageContext.h"
#include "host/PageCache.h"
#include "host/PageSources.h"
#include "host/RedirectGuard.h"
#include "host/RequestPool.h"
#include "host/ScheduleAddresses.h"
#include "host/SignInThrottle.h"
#include "host/SitePages.h"
#include "host/StaticFiles.h"
#include "host/StatusPages.h"
#include "host/UrlEncodedForm.h"
#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"
#include "runtime/Secrets.h"
#include "site/AccessControl.h"
#include "site/SiteState.h"

namespace orbitel::host {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t kLoggedTargetLength = 400;
// Silence allowed on a connection (while its headers or body come in, or between requests)
// before it is closed.
constexpr unsigned kConnectionTimeoutSeconds = 15;
// Requests that may wait for a request thread beyond those being answered; past that a burst
// is answered 503 at once.
constexpr std::size_t kMaxWaitingRequests = 2048;
// Making a page this large leaves several times its size free in the allocator's arenas.
constexpr std::size_t kLargePageBytes = 256 << 10;
// How long a stopping server waits for the answers it still owes.
constexpr auto kStopGrace = std::chrono::seconds(5);
constexpr const char* kPageLoginName = "CalendarLogin.asp";
constexpr const char* kSignOutPath = "/signout";
constexpr const char* kHealthPath = "/healthz";

// What the server sends back for one request.
struct Answer {
  using Headers = std::vector<std::pair<std::string, std::string>>;
  Answer(int status, std::string body, std::string content_type, Headers headers)
      : status(status), body(std::move(body)), content_type(std::move(content_type)), headers(std::move(headers)) {}
  Answer() = default;

  int status = 200;
  std::string body;
  std::string content_type;
  Headers headers;
  // A body sent in pieces (a kept page) in place of `body`.
  AnswerBody pieces;
  bool encoding_chosen = false;  // compressed, or left plain for this visitor
};

// One request on a connection, from its request line to the end of its answer.
struct Exchange {
  std::string target;  // as sent: path and query, escapes undone by nobody
  std::string method;
  std::string client;  // the visitor's address: the peer's, or what a trusted proxy forwarded
  bool over_https = false;
  std::string body;
  bool started = false;
  bool body_too_large = false;
  bool answered = false;  // a worker has made `answer`
  Answer answer;
  bool signing_out = false;
  bool health = false;
  ServedSite* site = nullptr;  // the site the address names; null for the server's own addresses
  std::string level = "none";  // the visitor's sign-in, for the access log
  int status = 0;
  std::size_t bytes = 0;
  std::size_t made_bytes = 0;  // the page's text when made for this request
  SteadyClock::time_point began = SteadyClock::now();
};

Answer StatusAnswer(int status, const Exchange& exchange) {
  const std::string_view target = exchange.target;
  return Answer{status, StatusPage(status, ToSiteRoot(target.substr(0, target.find('?')))), "text/html; charset=utf-8", {}};
}

Answer ScheduleAnswer(PlainAnswer plain) {
  return Answer{plain.status, std::move(plain.body), plain.content_type, {{"Cache-Control", "no-store"}}};
}

std::string CookieValue(const char* header, std::string_view name) {
  if (!header) return "";
  const std::string_view cookies(header);
  std::size_t at = 0;
  while (at < cookies.size()) {
    std::size_t end = cookies.find(';', at);
    if (end == std::string_view::npos) end = cookies.size();
    std::string_view piece = cookies.substr(at, end - at);
    while (!piece.empty() && piece.front() == ' ') piece.remove_prefix(1);
    if (piece.size() > name.size() && piece.starts_with(name) && piece[name.size()] == '=') {
      return std::string(piece.substr(name.size() + 1));
    }
    at = end + 1;
  }
  return "";
}

bool HasControlBytes(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
  });
}

std::string LevelName(const std::string& level) {
  if (level == site::kAdminSession) return "administrator";
  if (level == site::kUserSession) return "team";
  return "none";
}

std::string IsoTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

std::string ClientAddress(MHD_Connection* connection) {
  const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  if (!info || !info->client_addr) return "-";
  char host[NI_MAXHOST];
  const socklen_t length =
      info->client_addr->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  if (getnameinfo(info->client_addr, length, host, sizeof host, nullptr, 0, NI_NUMERICHOST) != 0) return "-";
  return host;
}

}  // namespace

struct WebServer::Impl {
  ServerSettings settings;
  // The sites answered for; one with an empty name when the server holds a single site.
  std::vector<ServedSite> sites;
  bool many_sites = false;
  std::unique_ptr<PageCache> pages;
  std::unique_ptr<RequestPool> pool;
  SignInThrottle throttle;
  MHD_Daemon* daemon = nullptr;
  int listen_fd = -1;
  std::mutex log_mutex;

  std::mutex stop_mutex;
  std::condition_variable stop_wake;
  bool stop_requested = false;
  // Requests begun and not yet ended, so a stopping server answers them before it closes.
  std::atomic<int> exchanges{0};

  void Log(std::ostream* stream, const std::string& line) {
    if (!stream) return;
    std::lock_guard lock(log_mutex);
    *stream << line << std::endl;
  }

  // The cookie names no path: the browser keeps it for the folder the pages were asked from, so
  // behind a proxy that serves the site at "/orbitel/" it is that site's alone.
  std::string SessionCookie(const SessionData& session, const Exchange& exchange) {
    return std::string(kSessionCookie) + "=" + exchange.site->keyring->Seal(session) + "; HttpOnly; SameSite=Lax" +
           (settings.secure_cookies || exchange.over_https ? "; Secure" : "");
  }

  // A session in use is sent again when the page changed it or a minute has passed, so its idle
  // time starts anew.
  void RenewSession(const SessionData& kept, bool changed, const Exchange& exchange, Answer& answer) {
    const std::int64_t now = UnixNow();
    if (changed || now - kept.last_used >= kSessionRefreshAfter.count()) {
      SessionData renewed = kept;
      renewed.last_used = now;
      answer.headers.emplace_back("Set-Cookie", SessionCookie(renewed, exchange));
    }
  }

  // Text of 1 kB and more goes gzip-compressed to a browser that takes it.
  static void ChooseEncoding(MHD_Connection* connection, Answer& answer) {
    if (answer.encoding_chosen || !CompressibleType(answer.content_type)) return;
    answer.encoding_chosen = true;
    answer.headers.emplace_back("Vary", "Accept-Encoding");
    const bool in_pieces = !answer.pieces.pieces.empty();
    if ((in_pieces ? answer.pieces.size() : answer.body.size()) < kMinCompressedBytes ||
        !AcceptsGzip(MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Accept-Encoding"))) {
      return;
    }
    if (in_pieces) {
      std::vector<std::string_view> texts;
      for (const auto& piece : answer.pieces.pieces) {
        texts.push_back(std::visit([](const auto& text) { return std::string_view(text); }, piece));
      }
      answer.body = Gzip(texts);
      answer.pieces = AnswerBody();
    } else {
      answer.body = Gzip(answer.body);
    }
    answer.headers.emplace_back("Content-Encoding", "gzip");
  }

  // A kept page with this visitor's form token, compressed when the browser takes it.
  static void SendKept(MHD_Connection* connection, const std::shared_ptr<const SharedPage>& page,
                       const std::string& token, Answer& answer) {
    const bool gzip = AcceptsGzip(MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Accept-Encoding"));
    answer.pieces = SharedPage::Body(page, token, gzip);
    answer.encoding_chosen = true;
    answer.headers.emplace_back("Vary", "Accept-Encoding");
    if (gzip) answer.headers.emplace_back("Content-Encoding", "gzip");
  }

  // Who the visitor is and how they came: behind a trusted proxy, the last address of
  // X-Forwarded-For that is not itself a trusted proxy, and X-Forwarded-Proto.
  void IdentifyVisitor(MHD_Connection* connection, Exchange& exchange) {
    exchange.client = ClientAddress(connection);
    const auto trusted = [this](std::string_view address) {
      return std::find(settings.trusted_proxies.begin(), settings.trusted_proxies.end(), address) !=
             settings.trusted_proxies.end();
    };
    if (!trusted(exchange.client)) return;
    if (const char* proto = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "X-Forwarded-Proto")) {
      exchange.over_https = EqualsIgnoringCase(proto, "https");
    }
    const char* forwarded = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "X-Forwarded-For");
    if (!forwarded) return;
    std::string_view hops(forwarded);
    while (!hops.empty()) {
      const std::size_t comma = hops.rfind(',');
      std::string_view hop = comma == std::string_view::npos ? hops : hops.substr(comma + 1);
      hops = comma == std::string_view::npos ? std::string_view() : hops.substr(0, comma);
      while (!hop.empty() && hop.front() == ' ') hop.remove_prefix(1);
      while (!hop.empty() && hop.back() == ' ') hop.remove_suffix(1);
      if (hop.empty() || HasControlBytes(hop)) return;
      exchange.client = std::string(hop);
      if (!trusted(hop)) return;
    }
  }

  static std::optional<SessionData> SessionOf(MHD_Connection* connection, const ServedSite& site) {
    const std::string cookie =
        CookieValue(MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Cookie"), kSessionCookie);
    if (cookie.empty()) return std::nullopt;
    return site.keyring->Unseal(cookie, UnixNow());
  }

  static site::RequestFields PostedForm(MHD_Connection* connection, const std::string& body) {
    const char* type = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Content-Type");
    if (!type || !std::string_view(type).starts_with("application/x-www-form-urlencoded")) return {};
    return ParseUrlEncoded(body);
  }

  // Whether the POST carries the form token of the session its cookie holds.
  static bool CarriesFormToken(const site::RequestFields& form, const std::optional<SessionData>& session) {
    const std::optional<std::string> token = form.Find(kFormTokenField);
    return session && token && SameSecret(*token, session->form_token);
  }

  // Signing out clears the browser's session.
  Answer SignOut(MHD_Connection* connection, Exchange& exchange) {
    if (!CarriesFormToken(PostedForm(connection, exchange.body), SessionOf(connection, *exchange.site))) {
      return StatusAnswer(403, exchange);
    }
    Answer answer{302, "", "text/html; charset=utf-8", {}};
    answer.headers = {{"Set-Cookie", std::string(kSessionCookie) + "=; HttpOnly; SameSite=Lax; Max-Age=0"},
                      {"Cache-Control", "no-store"},
                      {"Location", kHomePage}};
    return answer;
  }

  // Makes a page on a request thread.
  Answer ServePage(MHD_Connection* connection, Exchange& exchange, const SitePage& page, std::string_view query_text) {
    const bool posted = exchange.method == "POST";
    site::RequestFields form = posted ? PostedForm(connection, exchange.body) : site::RequestFields();
    std::optional<SessionData> session = SessionOf(connection, *exchange.site);
    if (session) exchange.level = LevelName(session->level);
    if (posted && !CarriesFormToken(form, session)) return StatusAnswer(403, exchange);

    // A page the same for every visitor of the sign-in level comes from the page cache while
    // nothing it was made from has changed; the key holds the level, so no visitor is ever
    // sent a page made for a higher one.
    std::string kept_key, kept_level, sources;
    if (!posted && page.same_for_level && pages->enabled() && session &&
        (session->level == site::kUserSession || session->level == site::kAdminSession)) {
      if (std::optional<std::string> fingerprint = exchange.site->sources->Fingerprint(page.follows_the_clock)) {
        kept_level = session->level;
        kept_key = PageCache::KeyOf(exchange.site->folder.string(), page.name, query_text, kept_level);
        sources = std::move(*fingerprint);
        if (std::shared_ptr<const SharedPage> kept = pages->Find(kept_key, sources)) {
          Answer answer{200, "", "text/html; charset=utf-8", {{"Cache-Control", "no-store"}}};
          RenewSession(*session, false, exchange, answer);
          SendKept(connection, kept, session->form_token, answer);
          return answer;
        }
      }
    }

    const bool signing_in = posted && EqualsIgnoringCase(page.name, kPageLoginName) &&
                            form.Find(kActionField).value_or("") == "Login";
    auto context = std::make_shared<HttpPageContext>(ParseUrlEncoded(query_text), std::move(form), posted,
                                                     (exchange.site->folder / page.name).string(), std::move(session));
    PageValues values;
    page.run(context, values);
    // The grid is in the page's values now: a request thread keeps no page-sized text from one
    // request to the next (32 threads would each hold the largest page they ever made).
    std::string().swap(site::Site().CalendarHtml);  // assigning an empty string keeps the buffer
    if (signing_in && throttle.Record(exchange.client, context->redirect().has_value(), SteadyClock::now())) {
      Log(settings.error_log, "orbitel: wrong passwords from " + exchange.client +
                                  ": its further sign-ins are slowed down");
    }

    // Every page's navigation shows whether the visitor is signed in.
    const std::string level = context->session() ? context->session()->level : "";
    exchange.level = LevelName(level);
    values.flags["SignedIn"] = level == site::kUserSession || level == site::kAdminSession;
    values.flags["Administrator"] = level == site::kAdminSession;
    // A page is kept when it showed no error and its calendars come from the local store: a
    // CalDAV server's calendars change there unseen, so those pages are made afresh each time.
    const std::optional<SessionData>& after = context->session();
    const bool keeping = !kept_key.empty() && !context->redirect() && after && after->level == kept_level &&
                         !context->session_changed() && values.text["PrintGenerateErrors"].empty() &&
                         site::Site().ExchangeViaBackoffice;
    // The navigation's sign-out button is a form of its own. A page to keep is made with a
    // stand-in for its token, and each answer gets its visitor's own.
    if (values.flags["SignedIn"] && !values.text.contains("FormToken")) {
      values.text["FormToken"] = keeping ? PageCache::TokenPlaceholder() : context->FormToken();
    }

    Answer answer{200, "", "text/html; charset=utf-8", {{"Cache-Control", "no-store"}}};
    if (context->end_other_sessions()) {
      if (Status rotated = exchange.site->keyring->Rotate(); !rotated.ok()) {
        Log(settings.error_log, "orbitel: " + rotated.description());
      }
    }
    if (const std::optional<SessionData>& kept = context->session()) {
      RenewSession(*kept, context->session_changed() || context->end_other_sessions(), exchange, answer);
    }
    if (context->redirect()) {
      answer.status = 302;
      answer.headers.emplace_back("Location", GuardRedirect(*context->redirect()));
      return answer;
    }
    // The page goes out in the pieces it was rendered in: its calendar is never copied whole.
    Result<AnswerBody> body = RenderTemplateBody(exchange.site->folder, page.template_name,
                                                 std::make_shared<const PageValues>(std::move(values)),
                                                 exchange.site->sources->FolderChanges());
    if (!body.ok()) {
      Log(settings.error_log, "orbitel: " + body.status().description());
      Answer failed = StatusAnswer(500, exchange);
      failed.headers = std::move(answer.headers);
      return failed;
    }
    exchange.made_bytes = body->size();
    if (keeping) {
      std::shared_ptr<const SharedPage> made = SharedPage::Make(body->Joined(), PageCache::TokenPlaceholder());
      pages->Keep(kept_key, std::move(sources), made);
      SendKept(connection, made, after->form_token, answer);
      return answer;
    }
    if (body->pieces.size() == 1) {
      answer.body = body->Joined();  // a page of one piece: nothing to save
    } else {
      answer.pieces = std::move(body).value();
    }
    return answer;
  }

  // Everything a request can be answered with once it has fully arrived; null when it must
  // wait for a request thread (a page).
  std::optional<Answer> AnswerAtOnce(MHD_Connection* connection, Exchange& exchange, const SitePage** page) {
    if (exchange.body_too_large) return StatusAnswer(413, exchange);
    if (exchange.target.size() > kMaxTargetBytes) return StatusAnswer(414, exchange);
    const std::string_view target = exchange.target;
    const std::string full_path = UrlDecode(target.substr(0, target.find('?')));
    if (!full_path.starts_with('/') || HasControlBytes(full_path)) return StatusAnswer(400, exchange);
    const bool reading = exchange.method == "GET" || exchange.method == "HEAD";
    std::string_view path = full_path;
    if (!many_sites) {
      exchange.site = &sites.front();
    } else {
      if (reading && path == kHealthPath) {
        exchange.health = true;
        return std::nullopt;
      }
      if (path == "/") {
        if (!reading) return StatusAnswer(405, exchange);
        return Answer{200, SiteIndexPage(sites), "text/html; charset=utf-8", {{"Cache-Control", "no-store"}}};
      }
      const std::size_t slash = path.find('/', 1);
      const std::string_view name = path.substr(1, slash == std::string_view::npos ? std::string_view::npos : slash - 1);
      const auto site = std::find_if(sites.begin(), sites.end(), [name](const ServedSite& s) { return s.name == name; });
      if (site == sites.end()) return StatusAnswer(404, exchange);
      exchange.site = &*site;
      // "/team" leads to "/team/", where the site's relative links work.
      if (slash == std::string_view::npos) return Answer{301, "", "text/html; charset=utf-8", {{"Location", site->name + "/"}}};
      path.remove_prefix(slash);
    }
    if (exchange.method == "POST" && path == kSignOutPath) {
      exchange.signing_out = true;
      return std::nullopt;
    }
    if (reading && path == kHealthPath) {
      exchange.health = true;
      return std::nullopt;
    }
    if (reading) {
      if (std::optional<StaticFile> file = FindStaticFile(exchange.site->folder, path)) {
        if (std::optional<SessionData> session = SessionOf(connection, *exchange.site)) {
          exchange.level = LevelName(session->level);
        }
        if (file->status != 200) return StatusAnswer(file->status, exchange);
        return Answer{200, std::move(file->body), file->content_type, {{"Cache-Control", kStaticCaching}}};
      }
    }
    if (reading && IsScheduleAddress(path)) return std::nullopt;  // free/busy and feeds, answered by Work
    if (!reading && exchange.method != "POST") return StatusAnswer(405, exchange);
    if (path.find('/', 1) != std::string::npos) return StatusAnswer(404, exchange);
    *page = FindSitePage(path.substr(1));
    if (!*page) return StatusAnswer(404, exchange);
    return std::nullopt;
  }

  // Runs on a request thread: the page (or the sign-out), any failure answered with the plain
  // 500 page and told to the error log only.
  Answer Work(MHD_Connection* connection, Exchange& exchange, const SitePage* page) {
    try {
      if (exchange.health) {
        Health health = exchange.site ? CheckHealth(*exchange.site) : CheckHealth(sites);
        return Answer{health.ok ? 200 : 503, std::move(health.json), "application/json", {{"Cache-Control", "no-store"}}};
      }
      const site::UsingServices using_site(*exchange.site->services);
      // A request thread's site state (the site's folder, its settings) belongs to one site: a
      // thread that answers another site than last time starts that site's state afresh.
      thread_local const ServedSite* thread_site = nullptr;
      if (thread_site != exchange.site) {
        site::Site() = site::SiteState();
        thread_site = exchange.site;
      }
      if (exchange.signing_out) return SignOut(connection, exchange);
      if (!page) return ScheduleAnswer(AnswerScheduleAddress(exchange.site->folder, exchange.target, SessionOf(connection, *exchange.site)));
      const std::size_t question = exchange.target.find('?');
      const std::string_view query =
          question == std::string::npos ? std::string_view() : std::string_view(exchange.target).substr(question + 1);
      // Made and compressed here, so the connection threads only send.
      Answer answer = ServePage(connection, exchange, *page, query);
      ChooseEncoding(connection, answer);
      return answer;
    } catch (const std::exception& error) {
      Log(settings.error_log, "orbitel: " + exchange.method + " " + exchange.target.substr(0, kLoggedTargetLength) +
                                  " failed: " + error.what());
    } catch (...) {
      Log(settings.error_log, "orbitel: " + exchange.method + " " + exchange.target.substr(0, kLoggedTargetLength) +
                                  " failed: an unknown failure");
    }
    return StatusAnswer(500, exchange);
  }

  // The body as one buffer, or as its pieces when it has them, held until sent.
  static MHD_Response* ResponseOf(Answer& answer) {
    if (answer.pieces.pieces.empty()) {
      auto* body = new std::string(std::move(answer.body));
      MHD_Response* response = MHD_create_response_from_buffer_with_free_callback_cls(
          body->size(), body->data(), [](void* kept) { delete static_cast<std::string*>(kept); }, body);
      if (!response) delete body;
      return response;
    }
    auto* body = new AnswerBody(std::move(answer.pieces));
    std::vector<MHD_IoVec> parts;
    for (const auto& piece : body->pieces) {
      const std::string_view text = std::visit([](const auto& part) { return std::string_view(part); }, piece);
      if (!text.empty()) parts.push_back(MHD_IoVec{text.data(), text.size()});
    }
    MHD_Response* response = MHD_create_response_from_iovec(
        parts.data(), static_cast<unsigned>(parts.size()), [](void* kept) { delete static_cast<AnswerBody*>(kept); }, body);
    if (!response) delete body;
    return response;
  }

  MHD_Result Send(MHD_Connection* connection, Exchange& exchange, Answer answer) {
    ChooseEncoding(connection, answer);
    const std::size_t size = answer.pieces.pieces.empty() ? answer.body.size() : answer.pieces.size();
    MHD_Response* response = ResponseOf(answer);
    if (!response) return MHD_NO;
    if (!answer.content_type.empty()) MHD_add_response_header(response, "Content-Type", answer.content_type.c_str());
    MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
    MHD_add_response_header(response, "X-Frame-Options", "SAMEORIGIN");
    MHD_add_response_header(response, "Referrer-Policy", "same-origin");
    for (const auto& [name, value] : answer.headers) {
      // A value with a line break would start a header of its own: never sent.
      if (HasControlBytes(value)) continue;
      MHD_add_response_header(response, name.c_str(), value.c_str());
    }
    exchange.status = answer.status;
    exchange.bytes = size;
    const MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(answer.status), response);
    MHD_destroy_response(response);
    return queued;
  }

  MHD_Result OnRequest(MHD_Connection* connection, const char* method, const char* upload_data,
                       std::size_t* upload_size, Exchange& exchange) {
    if (!exchange.started) {
      exchange.started = true;
      exchange.method = method;
      IdentifyVisitor(connection, exchange);
      const char* length = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Content-Length");
      if (length && std::strtoull(length, nullptr, 10) > kMaxBodyBytes) exchange.body_too_large = true;
      return MHD_YES;
    }
    if (*upload_size != 0) {
      if (exchange.body.size() + *upload_size > kMaxBodyBytes) {
        exchange.body_too_large = true;
      } else if (!exchange.body_too_large) {
        exchange.body.append(upload_data, *upload_size);
      }
      *upload_size = 0;
      return MHD_YES;
    }
    if (exchange.answered) return Send(connection, exchange, std::move(exchange.answer));

    const SitePage* page = nullptr;
    if (std::optional<Answer> answer = AnswerAtOnce(connection, exchange, &page)) return Send(connection, exchange, std::move(*answer));
    // A sign-in from an address that keeps sending wrong passwords waits its turn in the
    // pool without holding a request thread.
    SteadyClock::time_point not_before{};
    if (page && exchange.method == "POST" && EqualsIgnoringCase(page->name, kPageLoginName)) {
      not_before = throttle.Schedule(exchange.client, SteadyClock::now());
    }
    MHD_suspend_connection(connection);
    const bool queued = pool->Submit(
        [this, connection, &exchange, page] {
          exchange.answer = Work(connection, exchange, page);
          exchange.answered = true;
          // The connection thread may end the exchange as soon as this returns.
          MHD_resume_connection(connection);
        },
        not_before);
    if (!queued) {
      exchange.answer = StatusAnswer(503, exchange);
      exchange.answer.headers.emplace_back("Retry-After", "2");
      exchange.answered = true;
      MHD_resume_connection(connection);
    }
    return MHD_YES;
  }

  void LogExchange(const Exchange& exchange) {
    if (!settings.access_log || !exchange.started || exchange.status == 0) return;
    std::string target = exchange.target.substr(0, kLoggedTargetLength);
    if (exchange.target.size() > kLoggedTargetLength) target += "...";
    // The logged address never carries a line break of the visitor's making.
    std::replace_if(target.begin(), target.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, '?');
    char took[32];
    std::snprintf(took, sizeof took, " %.1fms",
                  std::chrono::duration_cast<std::chrono::microseconds>(SteadyClock::now() - exchange.began).count() / 1000.0);
    Log(settings.access_log, IsoTimeNow() + " " + exchange.client + " " + exchange.level + " \"" + exchange.method +
                                 " " + target + "\" " + std::to_string(exchange.status) + " " +
                                 std::to_string(exchange.bytes) + took);
  }

  // The listening socket, taken for this server alone: no SO_REUSEPORT, so a second server on
  // the same port is refused rather than handed half the visitors.
  Result<int> Listen() {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const std::string port = std::to_string(settings.port);
    const std::string where = settings.address + ":" + port;
    if (getaddrinfo(settings.address.c_str(), port.c_str(), &hints, &found) != 0 || !found) {
      return Status::Error(errors::kPermissionDenied, "cannot listen on " + where + ": not an address");
    }
    std::string why = "not an address of this computer";
    int fd = -1;
    for (addrinfo* at = found; at && fd < 0; at = at->ai_next) {
      fd = ::socket(at->ai_family, at->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, at->ai_protocol);
      if (fd < 0) continue;
      const int on = 1;
      ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
      if (::bind(fd, at->ai_addr, at->ai_addrlen) != 0 || ::listen(fd, SOMAXCONN) != 0) {
        why = errno == EADDRINUSE ? "the port is in use" : std::strerror(errno);
        ::close(fd);
        fd = -1;
      }
    }
    freeaddrinfo(found);
    if (fd < 0) return Status::Error(errors::kPermissionDenied, "cannot listen on " + where + ": " + why);
    sockaddr_storage bound{};
    socklen_t length = sizeof bound;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length);
    listen_fd = fd;
    return ntohs(bound.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port
                                             : reinterpret_cast<sockaddr_in*>(&bound)->sin_port);
  }
};

namespace {

void* OnRequestLine(void* cls, const char* uri, MHD_Connection*) {
  static_cast<WebServer::Impl*>(cls)->exchanges++;
  auto* exchange = new Exchange();
  exchange->target = uri ? uri : "";
  return exchange;
}

MHD_Result OnRequest(void* cls, MHD_Connection* connection, const char*, const char* method, const char*,
                     const char* upload_data, std::size_t* upload_size, void** request) {
  auto* exchange = static_cast<Exchange*>(*request);
  if (!exchange) return MHD_NO;
  try {
    return static_cast<WebServer::Impl*>(cls)->OnRequest(connection, method, upload_data, upload_size, *exchange);
  } catch (...) {
    // Out of memory or the like on the connection thread: this connection is closed, the
    // server goes on.
    return MHD_NO;
  }
}

void OnEnded(void* cls, MHD_Connection*, void** request, MHD_RequestTerminationCode) {
  auto* exchange = static_cast<Exchange*>(*request);
  if (!exchange) return;
  auto* impl = static_cast<WebServer::Impl*>(cls);
  impl->LogExchange(*exchange);
  const bool large = exchange->made_bytes >= kLargePageBytes;
  delete exchange;
  *request = nullptr;
  impl->exchanges--;
  // Making a large page leaves megabytes free in the allocator's arenas, kept there unless
  // handed back: the process would otherwise stay at the size of its busiest moment.
  if (large) malloc_trim(0);
}

// As many connections as the process may hold files, less a margin for the site's own.
unsigned ConnectionLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 65536);
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
  }
  const rlim_t usable = limit.rlim_cur > 256 ? limit.rlim_cur - 128 : limit.rlim_cur / 2;
  return static_cast<unsigned>(std::min<rlim_t>(usable, 20000));
}

}  // namespace

WebServer::WebServer(ServerSettings settings) : impl_(std::make_unique<Impl>()) {
  impl_->settings = std::move(settings);
  impl_->sites = std::move(impl_->settings.sites);
  impl_->many_sites = impl_->sites.size() != 1 || !impl_->sites.front().name.empty();
}

WebServer::~WebServer() {
  if (impl_->daemon) MHD_stop_daemon(impl_->daemon);
  if (impl_->listen_fd >= 0 && !impl_->daemon) ::close(impl_->listen_fd);
}

Result<int> WebServer::Bind() {
  // The address first: a server that cannot listen writes nothing into the site (not even a key).
  Result<int> port = impl_->Listen();
  if (!port.ok()) return port;
  for (ServedSite& site : impl_->sites) {
    Result<std::shared_ptr<SessionKeyring>> keyring = SessionKeyring::Open(site.folder);
    if (!keyring.ok()) {
      ::close(impl_->listen_fd);
      impl_->listen_fd = -1;
      return keyring.status();
    }
    site.keyring = *keyring;
    site.sources = std::make_shared<PageSources>(site.folder);
  }
  return port;
}

void WebServer::Serve() {
  Impl& impl = *impl_;
  {
    std::lock_guard lock(impl.stop_mutex);
    if (impl.stop_requested || impl.listen_fd < 0) return;
  }
  impl.pages = std::make_unique<PageCache>(impl.settings.page_cache_bytes);
  impl.pool = std::make_unique<RequestPool>(static_cast<std::size_t>(std::max(1, impl.settings.threads)),
                                            kMaxWaitingRequests);
  impl.daemon = MHD_start_daemon(
      MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &OnRequest, &impl,
      // One event thread per core, so reading requests and sending pages keeps up with the
      // request threads making them.
      MHD_OPTION_THREAD_POOL_SIZE, std::max(2u, std::thread::hardware_concurrency()),
      MHD_OPTION_LISTEN_SOCKET, impl.listen_fd, MHD_OPTION_URI_LOG_CALLBACK, &OnRequestLine, &impl,
      MHD_OPTION_NOTIFY_COMPLETED, &OnEnded, &impl, MHD_OPTION_CONNECTION_TIMEOUT, kConnectionTimeoutSeconds,
      MHD_OPTION_CONNECTION_LIMIT, ConnectionLimit(), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
      static_cast<std::size_t>(64 * 1024), MHD_OPTION_END);
  if (!impl.daemon) {
    impl.Log(impl.settings.error_log, "orbitel: the web server could not start");
    impl.pool.reset();
    return;
  }
  {
    std::unique_lock lock(impl.stop_mutex);
    impl.stop_wake.wait(lock, [&impl] { return impl.stop_requested; });
  }
  // No new connections; the requests already taken are made and their answers sent.
  const MHD_socket listening = MHD_quiesce_daemon(impl.daemon);
  impl.pool->Drain();
  const auto deadline = SteadyClock::now() + kStopGrace;
  while (impl.exchanges > 0 && SteadyClock::now() < deadline) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  MHD_stop_daemon(impl.daemon);
  impl.daemon = nullptr;
  if (listening != MHD_INVALID_SOCKET) ::close(listening);
  impl.listen_fd = -1;
  impl.pool.reset();
}

void WebServer::Stop() {
  {
    std::lock_guard lock(impl_->stop_mutex);
    impl_->stop_requested = true;
  }
  impl_->stop_wake.notify_all();
}

}  // namespace orbitel::host
