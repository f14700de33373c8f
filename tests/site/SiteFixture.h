#pragma once
// A site folder of its own for each test: the shipped settings and users files copied into a
// fresh temporary folder, this thread's site state reset to point at it, and the demo directory
// (or none) connected.

#include <gtest/gtest.h>

#include "TempFolder.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "directory/Directory.h"
#include "recordset/RowsetFile.h"
#include "site/MemoryPageContext.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"

namespace orbitel::site::testing {

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

using People = std::vector<std::pair<std::string, std::string>>;  // account, full name

// A directory export of the domain orbitel.demo with one enabled user per person.
inline std::string Ldif(const People& people) {
  std::string text = "dn: DC=ORBITEL,DC=DEMO\nobjectClass: domain\n";
  for (const auto& [account, name] : people) {
    text += "\ndn: CN=" + account + ",DC=ORBITEL,DC=DEMO\nobjectClass: user\nsAMAccountName: " + account +
            (name.empty() ? "" : "\ndisplayName: " + name) + "\n";
  }
  return text;
}

class SiteFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = orbitel::testing::MakeTempFolder("orbitel-site");
    std::filesystem::create_directories(folder_ / "store");
    for (const char* name : {"OrbitelSettings.xml", "OrbitelUsers.xml"}) {
      std::filesystem::copy_file(std::filesystem::path("www") / name, folder_ / name);
    }
    Site() = SiteState();
    Site().SitePath = folder_.string() + "/";
    context_ = std::make_shared<MemoryPageContext>();
    Site().PageContext = context_;
    UseStores(data::StoreSettings((folder_ / "store").string()));
    bound_.emplace(services_);
    ConnectDirectory("www/directory.ldif");
  }

  void TearDown() override {
    Site() = SiteState();
    bound_.reset();
    std::filesystem::remove_all(folder_);
  }

  // Connects a directory file, or none for an empty path (a computer in no domain).
  void ConnectDirectory(const std::string& path) {
    services_.directory = nullptr;
    if (path.empty()) return;
    auto directory = directory::OpenDirectory(path);
    ASSERT_TRUE(directory.ok()) << directory.status().description();
    services_.directory = *directory;
  }

  // The stores the site's pages read, with their providers.
  void UseStores(data::StoreSettings stores) {
    SiteServices made = MakeSiteServices(nullptr, std::move(stores));
    services_.stores = std::move(made.stores);
    services_.providers = std::move(made.providers);
  }

  // Fixes the present moment the pages see; nullopt: the system's clock again.
  void FixClock(std::optional<Date> now) {
    services_.clock = now ? std::function<Date()>([at = *now] { return at; }) : nullptr;
  }

  void UseDirectory(const People& people) {
    WriteFile(File("people.ldif"), Ldif(people));
    ConnectDirectory(File("people.ldif").string());
  }

  // The users file's "Users" values in order.
  std::vector<std::string> UsersInFile() const {
    data::Recordset users;
    EXPECT_TRUE(data::OpenRowsetFile(File("OrbitelUsers.xml"), users).ok());
    std::vector<std::string> names;
    for (; !users.IsEOF(); users.MoveNext()) names.push_back(users.Field("Users")->Text());
    return names;
  }

  std::filesystem::path File(const char* name) const { return folder_ / name; }
  std::string ErrorLog() const { return ReadFile(folder_ / "Errorfile.Log"); }

  std::filesystem::path folder_;
  std::shared_ptr<MemoryPageContext> context_;
  SiteServices services_;
  std::optional<UsingServices> bound_;  // the services bound to the test's thread
};

}  // namespace orbitel::site::testing
