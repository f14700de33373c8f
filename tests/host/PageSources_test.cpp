#include "host/PageSources.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "TempFolder.h"
#include "localstore/LocalStoreDatabase.h"
#include "site/SiteServices.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;

// A kept page's fingerprint follows the store from its first domain on: a domain made after
// the first page is watched, and every write to it changes the fingerprint.
TEST(PageSources, FollowTheStoresDomainsMadeLater) {
  const fs::path site = orbitel::testing::MakeTempFolder("orbitel-sources");
  fs::create_directories(site / "templates");
  fs::create_directories(site / "store");
  const site::SiteServices services = site::MakeSiteServices(nullptr, data::StoreSettings((site / "store").string()));
  const site::UsingServices bound(services);
  PageSources sources(site);

  const auto before = sources.Fingerprint(false);
  ASSERT_TRUE(before);
  EXPECT_EQ(sources.Fingerprint(false), before);
  auto database = data::LocalStoreDatabase::OpenOrCreate((site / "store").string(), "corp.example");
  ASSERT_TRUE(database.ok());
  const auto made = sources.Fingerprint(false);
  EXPECT_NE(made, before);
  ASSERT_TRUE((*database)->CreateMailbox("alice").ok());
  const auto written = sources.Fingerprint(false);
  EXPECT_NE(written, made);
  std::ofstream(site / "OrbitelUsers.xml") << "edited";
  EXPECT_NE(sources.Fingerprint(false), written);
  fs::remove_all(site);
}

}  // namespace
}  // namespace orbitel::host
