#pragma once
// A fresh copy of the demo site served on a free loopback port for a whole suite, and what a
// browser does with it: sign in through the form, keep the session cookie, post forms with
// their token.

#include <gtest/gtest.h>
#include <httplib.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

#include "TempFolder.h"
#include "directory/Directory.h"
#include "host/DemoSite.h"
#include "host/WebServer.h"
#include "site/SiteServices.h"

namespace orbitel::host::testing {

namespace fs = std::filesystem;

inline constexpr const char* kFormType = "application/x-www-form-urlencoded";

// One server on a site folder, from construction to destruction.
class Served {
 public:
  explicit Served(const fs::path& site, int threads = 4) {
    ServerSettings settings;
    settings.site_folder = site;
    settings.port = 0;
    settings.threads = threads;
    settings.error_log = &errors_;
    server_ = std::make_unique<WebServer>(settings);
    port_ = server_->Bind().value_or(0);
    thread_ = std::thread([this] { server_->Serve(); });
  }
  ~Served() {
    server_->Stop();
    thread_.join();
  }
  httplib::Client Client() const {
    httplib::Client client("127.0.0.1", port_);
    client.set_read_timeout(20);
    return client;
  }
  int port() const { return port_; }

 private:
  std::ostringstream errors_;
  std::unique_ptr<WebServer> server_;
  int port_ = 0;
  std::thread thread_;
};

class ServedSiteTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = orbitel::testing::MakeTempFolder("orbitel-web");
    std::ostringstream progress;
    ASSERT_TRUE(PrepareDemoSite("www", folder_ / "site", progress).ok()) << progress.str();
    site::SiteServices services;
    services.directory = directory::OpenDirectory((folder_ / "site" / "directory.ldif").string()).value_or(nullptr);
    services.store_root = folder_ / "site" / "store";
    site::SetServices(services);
    served_ = std::make_unique<Served>(folder_ / "site");
  }
  static void TearDownTestSuite() {
    served_.reset();
    site::SetServices({});
    fs::remove_all(folder_);
  }

  // The session cookie a response sets ("orbitel_session=..."), empty when none.
  static std::string CookieOf(const httplib::Result& response) {
    const std::string header = response->get_header_value("Set-Cookie");
    return header.substr(0, header.find(';'));
  }
  static std::string TokenOf(const std::string& html) {
    std::smatch match;
    std::regex_search(html, match, std::regex("name=\"FormToken\" value=\"([0-9a-f]+)\""));
    return match[1];
  }
  // The value of a form's hidden field.
  static std::string HiddenOf(const std::string& html, const std::string& name) {
    std::smatch match;
    std::regex_search(html, match, std::regex("name=\"" + name + "\" value=\"([^\"]*)\""));
    return match[1];
  }

  // Signs in through the form; returns the signed-in cookie.
  static std::string SignIn(const std::string& return_url = "", std::unique_ptr<httplib::Result>* answer = nullptr,
                            const std::string& account = "team") {
    httplib::Client client = served_->Client();
    auto page = client.Get("/CalendarLogin.asp");
    const std::string cookie = CookieOf(page);
    auto posted = client.Post("/CalendarLogin.asp", {{"Cookie", cookie}},
                              "FormToken=" + TokenOf(page->body) + "&cstrUserName=" + account + "&cstrPassword=" + account +
                                  "&action=Login&ReturnUrl=" + return_url,
                              kFormType);
    const std::string signed_in = CookieOf(posted);
    if (answer) *answer = std::make_unique<httplib::Result>(std::move(posted));
    return signed_in;
  }

  static httplib::Result Get(const std::string& target, const std::string& cookie) {
    return served_->Client().Get(target, {{"Cookie", cookie}});
  }
  static httplib::Result Post(const std::string& target, const std::string& cookie, const std::string& body) {
    return served_->Client().Post(target, {{"Cookie", cookie}}, body, kFormType);
  }

  static inline fs::path folder_;
  static inline std::unique_ptr<Served> served_;
};

}  // namespace orbitel::host::testing
