// `orbitel serve` starting up safely: a misused command line or what it cannot serve from stops
// it with one line naming the culprit and leaves the site folder as it was; what may mend itself
// (an LDAP server not answering yet) or what the operator should know (the shipped passwords on
// the network) is a warning and the server starts.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "ServerProcess.h"
#include "TempFolder.h"
#include "host/RunOrbitel.h"

namespace {

namespace fs = std::filesystem;
using orbitel::testing::Quote;

// Every file of a folder with its size and time, to tell that nothing was written.
std::map<std::string, std::pair<std::uintmax_t, fs::file_time_type>> Snapshot(const fs::path& folder) {
  std::map<std::string, std::pair<std::uintmax_t, fs::file_time_type>> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    files[entry.path().string()] = {entry.is_regular_file() ? entry.file_size() : 0, entry.last_write_time()};
  }
  return files;
}

class ServeStartup : public ::testing::Test {
 protected:
  void SetUp() override { fs::copy("www", site_, fs::copy_options::recursive); }
  void TearDown() override { fs::remove_all(folder_); }

  const fs::path folder_ = orbitel::testing::MakeTempFolder("orbitel-startup"), site_ = folder_ / "site";
};

TEST_F(ServeStartup, RefusalsNameTheCulpritAndLeaveTheSiteAlone) {
  std::ofstream(folder_ / "broken.ldif") << "dn: dc=example,dc=org\nobjectClass: domain\n\ndn: uid=ann,dc=example,dc=org\n"
                                            "uid ann\n";
  fs::create_directories(folder_ / "bare");
  // A port another program listens on. It shares its port with anyone who asks (as the old
  // server did), so only a server that never asks for a shared port is refused.
  const int taken = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  ::setsockopt(taken, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
  const int port = orbitel::testing::FreePort();
  const sockaddr_in address = orbitel::testing::Loopback(port);
  ASSERT_EQ(::bind(taken, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(taken, 1), 0);
  const std::string taken_address = "127.0.0.1:" + std::to_string(port);

  const std::string site = "serve --site " + Quote(site_.string()) + " --listen 127.0.0.1:0";
  const std::string missing = Quote((folder_ / "missing.conf").string());
  const std::string credentials = "credentials file " + (folder_ / "missing.conf").string();
  const struct {
    std::string args;
    int code;
    std::string says;
  } cases[] = {
      {site + " --directory " + Quote((folder_ / "broken.ldif").string()), 1,
       (folder_ / "broken.ldif").string() + " is malformed at line 5"},
      {site + " --directory " + Quote("file:" + (folder_ / "none.ldif").string()), 1,
       (folder_ / "none.ldif").string() + " was not found"},
      {site + " --directory ftp://127.0.0.1/people", 1, "ftp://127.0.0.1/people"},
      {site + " --directory-credentials " + missing, 1, credentials},
      {site + " --store-credentials " + missing, 1, credentials},
      {site + " --colour blue", 2, "unknown option --colour"},
      {site + " --threads 0", 2, "--threads takes a number"},
      {"serve --listen 8080", 2, "--listen takes ADDRESS:PORT"},
      {"serve --site " + Quote((folder_ / "nowhere").string()), 1, "nowhere does not exist"},
      {"serve --site " + Quote((folder_ / "bare").string()), 1, "has no templates/ folder"},
      {"launch", 2, "unknown command launch"},
      {site + " --sites " + Quote(folder_.string()), 2, "--sites serves each site with its own store"},
      {"serve --sites " + Quote((folder_ / "bare").string()), 1, "holds no site folder"},
      {"serve --site " + Quote(site_.string()) + " --listen " + taken_address, 1,
       "cannot listen on " + taken_address + ": the port is in use"},
  };
  const auto before = Snapshot(site_);
  for (const auto& c : cases) {
    const auto outcome = orbitel::testing::RunOrbitel(c.args, folder_.string());
    EXPECT_EQ(outcome.code, c.code) << c.args << "\n" << outcome.err;
    EXPECT_NE(outcome.err.find(c.says), std::string::npos) << c.args << "\n" << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << c.args << "\n" << outcome.err;
    EXPECT_EQ(outcome.out, "") << c.args;
  }
  EXPECT_EQ(Snapshot(site_), before);
  ::close(taken);
}

TEST_F(ServeStartup, WarnsAndServes) {
  const struct {
    std::string address;
    std::vector<std::string> args, warnings;
  } cases[] = {
      {"127.0.0.1",
       {"--directory", "ldap://127.0.0.1:1/"},
       {"warning: the directory ldap://127.0.0.1:1/ does not answer"}},
      {"0.0.0.0", {}, {"shipped team / team and answers on 0.0.0.0", "shipped admin / admin"}},
      {"127.0.0.1", {}, {}},
  };
  for (const auto& c : cases) {
    const int port = orbitel::testing::FreePort();
    std::vector<std::string> args{ORBITEL_BINARY, "serve", "--site", site_.string(),
                                  "--listen", c.address + ":" + std::to_string(port)};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const std::string log = (folder_ / ("log" + std::to_string(port))).string();
    std::string why;
    pid_t server = orbitel::testing::StartServer(args, log, port, why);
    EXPECT_GT(server, 0) << why;
    orbitel::testing::StopServer(server);
    const std::string said = orbitel::testing::ReadWholeFile(log);
    for (const std::string& warning : c.warnings) EXPECT_NE(said.find(warning), std::string::npos) << said;
    if (c.warnings.empty()) {
      EXPECT_EQ(said.find("warning"), std::string::npos) << said;
    }
  }
}

}  // namespace
