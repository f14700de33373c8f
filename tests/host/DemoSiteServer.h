#pragma once
// A fresh copy of the demo site served in the test's own process on a free loopback port for a
// whole suite, and the requests a browser sends it: pages, forms with their token, sign-in.

#include <gtest/gtest.h>
#include <httplib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TempFolder.h"
#include "directory/Directory.h"
#include "host/DemoSite.h"
#include "host/WebServer.h"
#include "site/SiteServices.h"

namespace orbitel::host {

// One server on a site folder, from construction to destruction.
class Served {
 public:
  explicit Served(const std::filesystem::path& site, std::vector<std::string> trusted_proxies = {}) {
    ServerSettings settings;
    settings.site_folder = site;
    settings.port = 0;
    settings.threads = 4;
    settings.error_log = &errors_;
    settings.access_log = &access_;
    settings.trusted_proxies = std::move(trusted_proxies);
    server_ = std::make_unique<WebServer>(settings);
    port_ = server_->Bind().value_or(0);
    thread_ = std::thread([this] { server_->Serve(); });
  }
  ~Served() { Stop(); }
  // Stops the server once the answers it owes are sent (and their log lines written).
  void Stop() {
    if (!thread_.joinable()) return;
    server_->Stop();
    thread_.join();
  }
  httplib::Client Client() const {
    httplib::Client client("127.0.0.1", port_);
    client.set_read_timeout(20);
    return client;
  }
  int port() const { return port_; }
  // The error and access logs so far (complete after Stop).
  std::string errors() const { return errors_.str(); }
  std::string accesses() const { return access_.str(); }

 private:
  std::ostringstream errors_, access_;
  std::unique_ptr<WebServer> server_;
  int port_ = 0;
  std::thread thread_;
};

class DemoSiteTest : public ::testing::Test {
 protected:
  // The demo site, with the LDIF entries `more_people` added to its directory, in a new folder.
  static void ServeDemoSite(const char* folder, const std::string& more_people = "") {
    folder_ = orbitel::testing::MakeTempFolder(folder);
    std::ostringstream progress;
    ASSERT_TRUE(PrepareDemoSite("www", folder_ / "site", progress).ok()) << progress.str();
    std::ofstream(folder_ / "site" / "directory.ldif", std::ios::app) << more_people;
    site::SiteServices services;
    services.directory = directory::OpenDirectory((folder_ / "site" / "directory.ldif").string()).value_or(nullptr);
    services.store_root = folder_ / "site" / "store";
    site::SetServices(services);
    served_ = std::make_unique<Served>(folder_ / "site");
  }
  static void TearDownTestSuite() {
    served_.reset();
    site::SetServices({});
    std::filesystem::remove_all(folder_);
  }

  // The session cookie a response sets ("orbitel_session=..."), empty when none.
  static std::string CookieOf(const httplib::Result& response) {
    const std::string header = response->get_header_value("Set-Cookie");
    return header.substr(0, header.find(';'));
  }
  // The value of a form's hidden field.
  static std::string HiddenOf(const std::string& html, const std::string& name = "FormToken") {
    std::smatch match;
    std::regex_search(html, match, std::regex("name=\"" + name + "\" value=\"([^\"]*)\""));
    return match[1];
  }

  static httplib::Result Get(const std::string& target, const std::string& cookie = "") {
    return served_->Client().Get(target, {{"Cookie", cookie}});
  }
  static httplib::Result Post(const std::string& target, const std::string& cookie, const std::string& body) {
    return served_->Client().Post(target, {{"Cookie", cookie}}, body, "application/x-www-form-urlencoded");
  }
  // Fills in the form of the page at `form` (a fresh session's when no cookie) and posts it
  // with the token it carries.
  static httplib::Result Submit(const std::string& form, std::string cookie, const std::string& fields) {
    auto page = Get(form, cookie);
    if (cookie.empty()) cookie = CookieOf(page);
    return Post(form.substr(0, form.find('?')), cookie, "FormToken=" + HiddenOf(page->body) + "&" + fields);
  }
  // The answer to the sign-in form, sent from a fresh session.
  static httplib::Result SignInAnswer(const std::string& name, const std::string& password,
                                      const std::string& return_url = "") {
    return Submit("/CalendarLogin.asp", "",
                  "cstrUserName=" + name + "&cstrPassword=" + password + "&action=Login&ReturnUrl=" + return_url);
  }
  // The cookie of a session signed in with the account of that name and password.
  static std::string SignIn(const std::string& account = "team") { return CookieOf(SignInAnswer(account, account)); }

  static inline std::filesystem::path folder_;
  static inline std::unique_ptr<Served> served_;
};

}  // namespace orbitel::host
