// The installed program: `cmake --install` lays out the tree, and the tree, moved elsewhere,
// serves its own shipped site (not the source tree's) and says its version.
#include <gtest/gtest.h>
#include <httplib.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "ServerProcess.h"
#include "TempFolder.h"
#include "host/RunOrbitel.h"

namespace {

namespace fs = std::filesystem;
using orbitel::testing::Quote;
using orbitel::testing::ReadWholeFile;
constexpr auto npos = std::string::npos;

TEST(Install, MovedTreeServesItsOwnSite) {
  const fs::path folder = orbitel::testing::MakeTempFolder("orbitel-install"), prefix = folder / "prefix";
  const std::string install = Quote(CMAKE_COMMAND) + " --install " + Quote(ORBITEL_BUILD_DIR) + " --prefix " +
                              Quote(prefix.string()) + " >" + Quote((folder / "install.log").string()) + " 2>&1";
  ASSERT_EQ(std::system(install.c_str()), 0) << ReadWholeFile(folder / "install.log");
  for (const char* installed : {"bin/orbitel", "share/orbitel/site/OrbitelSettings.xml",
                                "share/orbitel/site/templates", "share/orbitel/site/directory.ldif",
                                "lib/systemd/system/orbitel.service", "etc/default/orbitel"}) {
    EXPECT_TRUE(fs::exists(prefix / installed)) << installed;
  }
  const std::string unit = ReadWholeFile(prefix / "lib/systemd/system/orbitel.service");
  EXPECT_NE(unit.find("ExecStart=" + (prefix / "bin/orbitel").string() + " serve --site /var/lib/orbitel"), npos)
      << unit;
  EXPECT_NE(unit.find("EnvironmentFile=-" + (prefix / "etc/default/orbitel").string()), npos) << unit;

  // Moved, the tree has only itself to go by; a mark in its style sheet shows which site is served.
  const fs::path moved = folder / "elsewhere";
  fs::rename(prefix, moved);
  const std::string mark = "/* installed copy */";
  std::ofstream(moved / "share/orbitel/site/styles/orbitel.css", std::ios::app) << mark << "\n";

  auto version = orbitel::testing::RunOrbitel("--version", folder.string());
  EXPECT_EQ(version.code, 0);
  EXPECT_EQ(version.out, std::string("orbitel ") + ORBITEL_VERSION + "\n");

  ::setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
  const int port = orbitel::testing::FreePort();
  const std::string log = (folder / "serve.log").string();
  std::string why;
  pid_t server = orbitel::testing::StartServer(
      {(moved / "bin/orbitel").string(), "serve", "--listen", "127.0.0.1:" + std::to_string(port)}, log, port, why);
  ASSERT_GT(server, 0) << why;
  auto style = httplib::Client("127.0.0.1", port).Get("/styles/orbitel.css");
  orbitel::testing::StopServer(server);
  EXPECT_EQ(style->status, 200);
  EXPECT_NE(style->body.find(mark), npos);
  EXPECT_NE(ReadWholeFile(log).find("Making the demo site in " + (folder / "data/orbitel/demo").string()), npos)
      << ReadWholeFile(log);
  fs::remove_all(folder);
}

}  // namespace
