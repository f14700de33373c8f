// The installed program: `cmake --install` lays out the tree, and the tree, moved elsewhere,
// serves its own shipped site (not the source tree's) and makes its demo site from it.
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
using orbitel::testing::ReadWholeFile;
constexpr auto npos = std::string::npos;

TEST(Install, MovedTreeServesItsOwnSite) {
  const std::string folder = orbitel::testing::MakeTempFolder("orbitel-install").string(), prefix = folder + "/prefix";
  const std::string install = orbitel::testing::Quote(CMAKE_COMMAND) + " --install " +
                              orbitel::testing::Quote(ORBITEL_BUILD_DIR) + " --prefix " + prefix + " >" + folder +
                              "/install.log 2>&1";
  ASSERT_EQ(std::system(install.c_str()), 0) << ReadWholeFile(folder + "/install.log");
  EXPECT_TRUE(fs::exists(prefix + "/lib/systemd/system/orbitel.service"));
  EXPECT_TRUE(fs::exists(prefix + "/etc/default/orbitel"));
  EXPECT_EQ(orbitel::testing::RunOrbitel("--version", folder).out, std::string("orbitel ") + ORBITEL_VERSION + "\n");

  // Moved, the tree has only itself to go by; a mark in its style sheet shows which site is served.
  const std::string moved = folder + "/elsewhere", mark = "/* installed copy */";
  fs::rename(prefix, moved);
  std::ofstream(moved + "/share/orbitel/site/styles/orbitel.css", std::ios::app) << mark << "\n";
  ::setenv("XDG_DATA_HOME", (folder + "/data").c_str(), 1);
  const int port = orbitel::testing::FreePort();
  std::string why;
  pid_t server = orbitel::testing::StartServer(
      {moved + "/bin/orbitel", "serve", "--listen", "127.0.0.1:" + std::to_string(port)}, folder + "/serve.log", port,
      why);
  ASSERT_GT(server, 0) << why;
  auto style = httplib::Client("127.0.0.1", port).Get("/styles/orbitel.css");
  orbitel::testing::StopServer(server);
  EXPECT_NE(style->body.find(mark), npos);
  const std::string said = ReadWholeFile(folder + "/serve.log");
  EXPECT_NE(said.find("Making the demo site in " + folder + "/data/orbitel/demo"), npos) << said;
  fs::remove_all(folder);
}

}  // namespace
