#pragma once
// A fresh copy of the demo site served in the test's own process on a free loopback port for a
// whole suite, visited as a browser visits it.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TempFolder.h"
#include "directory/Directory.h"
#include "host/DemoSite.h"
#include "host/SiteVisitor.h"
#include "host/WebServer.h"
#include "site/SiteServices.h"

namespace orbitel::host {

// The present moment of a test's server, fixed for all its request threads or left to the system.
class TestClock {
 public:
  void Fix(std::optional<Date> now) {
    std::lock_guard lock(mutex_);
    now_ = now;
  }
  Date Now() const {
    std::lock_guard lock(mutex_);
    return now_.value_or(Date::Now());
  }

 private:
  mutable std::mutex mutex_;
  std::optional<Date> now_;
};

// One server on a site folder with these services, from construction to destruction.
class Served {
 public:
  Served(const std::filesystem::path& site, std::shared_ptr<const site::SiteServices> services,
         std::vector<std::string> trusted_proxies = {}, std::size_t page_cache_bytes = 64 << 20)
      : server_({.sites = {ServedSite{"", site, std::move(services), {}, {}}}, .port = 0, .threads = 4,
                 .access_log = &access_, .trusted_proxies = std::move(trusted_proxies),
                 .page_cache_bytes = page_cache_bytes}),
        port_(server_.Bind().value_or(0)),
        thread_([this] { server_.Serve(); }) {}
  ~Served() { Stop(); }
  // Stops the server once the answers it owes are sent (and their log lines written).
  void Stop() {
    if (!thread_.joinable()) return;
    server_.Stop();
    thread_.join();
  }
  SiteVisitor Visitor() const { return {"http://127.0.0.1:" + std::to_string(port_)}; }
  int port() const { return port_; }
  std::string accesses() const { return access_.str(); }  // complete after Stop

 private:
  std::ostringstream access_;
  WebServer server_;
  int port_;
  std::thread thread_;
};

class DemoSiteTest : public ::testing::Test, public SiteVisitor {
 protected:
  DemoSiteTest() : SiteVisitor(served_->Visitor()) {}
  // The demo site, with the LDIF entries `more_people` added to its directory, in a new folder.
  static void ServeDemoSite(const char* folder, const std::string& more_people = "") {
    folder_ = orbitel::testing::MakeTempFolder(folder);
    std::ostringstream progress;
    ASSERT_TRUE(PrepareDemoSite("www", folder_ / "site", progress).ok()) << progress.str();
    std::ofstream(folder_ / "site" / "directory.ldif", std::ios::app) << more_people;
    const std::string people = (folder_ / "site" / "directory.ldif").string();
    auto services = std::make_shared<site::SiteServices>(site::MakeSiteServices(
        directory::OpenDirectory(people).value_or(nullptr), data::StoreSettings((folder_ / "site" / "store").string())));
    services->clock = [] { return clock_.Now(); };
    services_ = services;
    served_ = std::make_unique<Served>(folder_ / "site", services_);
  }
  static void TearDownTestSuite() {
    served_.reset();
    services_.reset();
    std::filesystem::remove_all(folder_);
  }

  static inline std::filesystem::path folder_;
  static inline TestClock clock_;
  static inline std::shared_ptr<const site::SiteServices> services_;
  static inline std::unique_ptr<Served> served_;
};

}  // namespace orbitel::host
