#include "host/WebServer.h"

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>

#include "host/HttpPageContext.h"
#include "host/RedirectGuard.h"
#include "host/SessionStore.h"
#include "host/SitePages.h"
#include "host/StatusPages.h"
#include "host/UrlEncodedForm.h"
#include "runtime/ErrorNumbers.h"
#include "site/AccessControl.h"

namespace orbitel::host {

namespace {

// The folders of the site that are served as they stand; the settings, user list, directory
// and store beside them are never served.
constexpr const char* kStaticFolders[] = {"images", "help", "styles"};
// The team user list names its spacer picture without the images folder.
constexpr const char* kRootPictures[] = {"dot.gif"};
constexpr const char* kStaticCaching = "public, max-age=3600";
constexpr std::size_t kLoggedTargetLength = 400;

thread_local std::optional<std::chrono::steady_clock::time_point> request_started;

std::string SessionIdFrom(const httplib::Request& request) {
  const std::string cookies = request.get_header_value("Cookie");
  const std::string wanted = std::string(kSessionCookie) + "=";
  std::size_t at = 0;
  while (at < cookies.size()) {
    std::size_t end = cookies.find(';', at);
    if (end == std::string::npos) end = cookies.size();
    std::string_view piece(cookies.data() + at, end - at);
    while (!piece.empty() && piece.front() == ' ') piece.remove_prefix(1);
    if (piece.starts_with(wanted)) return std::string(piece.substr(wanted.size()));
    at = end + 1;
  }
  return "";
}

bool SameToken(const std::string& a, const std::string& b) {
  // Compared without stopping at the first difference, so timing tells nothing of the token.
  if (a.size() != b.size()) return false;
  unsigned char difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
  return difference == 0;
}

}  // namespace

struct WebServer::Impl {
  ServerSettings settings;
  httplib::Server server;
  SessionStore sessions;
  std::mutex log_mutex;
  std::atomic<bool> stop_requested{false};

  void Log(std::ostream* stream, const std::string& line) {
    if (!stream) return;
    std::lock_guard lock(log_mutex);
    *stream << line << std::endl;
  }

  void ServeRootPicture(const httplib::Request& request, httplib::Response& response) {
    const std::filesystem::path path = settings.site_folder / "images" / request.path.substr(1);
    std::ifstream in(path, std::ios::binary);
    if (!in) {
      response.status = 404;
      return;
    }
    response.set_content(std::string(std::istreambuf_iterator<char>(in), {}), "image/gif");
    response.set_header("Cache-Control", kStaticCaching);
  }

  // Checks the POST's form token against the visitor's session before anything else sees it.
  bool CarriesFormToken(const site::RequestFields& form, const std::string& session_id) {
    std::shared_ptr<Session> session = session_id.empty() ? nullptr : sessions.Find(session_id);
    const std::optional<std::string> token = form.Find(kFormTokenField);
    return session && token && SameToken(*token, session->form_token());
  }

  static site::RequestFields PostedForm(const httplib::Request& request) {
    if (!request.get_header_value("Content-Type").starts_with("application/x-www-form-urlencoded")) return {};
    return ParseUrlEncoded(request.body);
  }

  // Signing out ends the session on the server and in the browser.
  void SignOut(const httplib::Request& request, httplib::Response& response) {
    const std::string session_id = SessionIdFrom(request);
    if (!CarriesFormToken(PostedForm(request), session_id)) {
      response.status = 403;
      return;
    }
    sessions.Remove(session_id);
    response.set_header("Set-Cookie", std::string(kSessionCookie) + "=; Path=/; HttpOnly; SameSite=Lax; Max-Age=0");
    response.set_header("Cache-Control", "no-store");
    response.set_redirect(kHomePage, 302);
  }

  void ServePage(const httplib::Request& request, httplib::Response& response) {
    const SitePage* page = FindSitePage(request.matches[1].str());
    if (!page) {
      response.status = 404;
      return;
    }
    const std::size_t question = request.target.find('?');
    site::RequestFields query = ParseUrlEncoded(
        question == std::string::npos ? std::string_view() : std::string_view(request.target).substr(question + 1));
    const bool posted = request.method == "POST";
    site::RequestFields form = posted ? PostedForm(request) : site::RequestFields();
    const std::string session_id = SessionIdFrom(request);
    if (posted && !CarriesFormToken(form, session_id)) {
      response.status = 403;
      return;
    }

    auto context = std::make_shared<HttpPageContext>(std::move(query), std::move(form),
                                                     (settings.site_folder / page->name).string(),
                                                     sessions, session_id);
    PageValues values;
    page->run(context, values);
    // Every page's navigation shows whether the visitor is signed in.
    const std::string signed_in = context->Session(site::kSessionKey);
    values.flags["SignedIn"] = signed_in == site::kUserSession || signed_in == site::kAdminSession;
    values.flags["Administrator"] = signed_in == site::kAdminSession;
    // The navigation's sign-out button is a form of its own.
    if (values.flags["SignedIn"] && !values.text.contains("FormToken")) values.text["FormToken"] = context->FormToken();

    if (!context->new_session_id().empty()) {
      response.set_header("Set-Cookie", std::string(kSessionCookie) + "=" + context->new_session_id() +
                                            "; Path=/; HttpOnly; SameSite=Lax");
    }
    response.set_header("Cache-Control", "no-store");
    if (context->redirect()) {
      response.set_redirect(GuardRedirect(*context->redirect()), 302);
      return;
    }
    Result<std::string> html = RenderTemplate(settings.site_folder, page->template_name, values);
    if (!html.ok()) {
      Log(settings.error_log, "orbitel: " + html.status().description());
      response.status = 500;
      return;
    }
    response.set_content(std::move(*html), "text/html; charset=utf-8");
  }

  void LogRequest(const httplib::Request& request, const httplib::Response& response) {
    if (!settings.access_log) return;
    std::string target = request.target.substr(0, kLoggedTargetLength);
    if (request.target.size() > kLoggedTargetLength) target += "...";
    std::string line = request.remote_addr + " \"" + request.method + " " + target + "\" " +
                       std::to_string(response.status) + " " + std::to_string(response.body.size());
    if (request_started) {
      const auto elapsed = std::chrono::steady_clock::now() - *request_started;
      char took[32];
      std::snprintf(took, sizeof took, " %.1fms",
                    std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count() / 1000.0);
      line += took;
      request_started.reset();
    }
    Log(settings.access_log, line);
  }

  void SetUp() {
    const int threads = std::max(1, settings.threads);
    server.new_task_queue = [threads] { return new httplib::ThreadPool(static_cast<std::size_t>(threads)); };
    server.set_payload_max_length(kMaxBodyBytes);
    server.set_default_headers({{"X-Content-Type-Options", "nosniff"},
                                {"X-Frame-Options", "SAMEORIGIN"},
                                {"Referrer-Policy", "same-origin"}});
    for (const char* folder : kStaticFolders) {
      server.set_mount_point(std::string("/") + folder, (settings.site_folder / folder).string(),
                             {{"Cache-Control", kStaticCaching}});
    }
    for (const char* picture : kRootPictures) {
      server.Get(std::string("/") + picture,
                 [this](const httplib::Request& request, httplib::Response& response) { ServeRootPicture(request, response); });
    }
    auto page = [this](const httplib::Request& request, httplib::Response& response) {
      ServePage(request, response);
    };
    server.Post("/signout", [this](const httplib::Request& request, httplib::Response& response) {
      SignOut(request, response);
    });
    server.Get(R"(/([^/]*))", page);
    server.Post(R"(/([^/]*))", page);

    server.set_pre_routing_handler([](const httplib::Request&, httplib::Response&) {
      request_started = std::chrono::steady_clock::now();
      return httplib::Server::HandlerResponse::Unhandled;
    });
    server.set_exception_handler([this](const httplib::Request& request, httplib::Response& response,
                                        std::exception_ptr thrown) {
      std::string what = "an unknown failure";
      try {
        std::rethrow_exception(thrown);
      } catch (const std::exception& error) {
        what = error.what();
      } catch (...) {
      }
      Log(settings.error_log, "orbitel: " + request.method + " " + request.path + " failed: " + what);
      response.status = 500;
      response.body.clear();
      response.set_content(StatusPage(500), "text/html; charset=utf-8");
    });
    server.set_error_handler(httplib::Server::HandlerWithResponse(
        [](const httplib::Request&, httplib::Response& response) {
          if (!response.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
          response.set_content(StatusPage(response.status), "text/html; charset=utf-8");
          return httplib::Server::HandlerResponse::Handled;
        }));
    server.set_logger([this](const httplib::Request& request, const httplib::Response& response) {
      LogRequest(request, response);
    });
  }
};

WebServer::WebServer(ServerSettings settings) : impl_(std::make_unique<Impl>()) {
  impl_->settings = std::move(settings);
  impl_->SetUp();
}

WebServer::~WebServer() = default;

Result<int> WebServer::Bind() {
  httplib::Server& server = impl_->server;
  const ServerSettings& settings = impl_->settings;
  if (settings.port == 0) {
    const int port = server.bind_to_any_port(settings.address);
    if (port > 0) return port;
  } else if (server.bind_to_port(settings.address, settings.port)) {
    return settings.port;
  }
  return Status::Error(errors::kPermissionDenied,
                       "cannot listen on " + settings.address + ":" + std::to_string(settings.port) +
                           " (in use, or not an address of this computer)");
}

void WebServer::Serve() {
  if (impl_->stop_requested) return;
  impl_->server.listen_after_bind();
}

void WebServer::Stop() {
  impl_->stop_requested = true;
  impl_->server.stop();
}

}  // namespace orbitel::host
