// `orbitel serve` starting up safely: a misused command line, or what it cannot serve from, stops
// it with one line naming the culprit and the site folder left as it was; what may mend itself or
// what the operator should know is a warning, and the server starts.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "ServerProcess.h"
#include "TempFolder.h"
#include "host/RunOrbitel.h"

namespace {

namespace fs = std::filesystem;
constexpr auto npos = std::string::npos;

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
  void SetUp() override { fs::copy("www", folder_ + "/site", fs::copy_options::recursive); }
  void TearDown() override { fs::remove_all(folder_); }

  // A fresh folder (no blanks or quotes in its path) holding a copy of the shipped site.
  const std::string folder_ = orbitel::testing::MakeTempFolder("orbitel-startup").string(), site_ = folder_ + "/site";
};

TEST_F(ServeStartup, RefusalsNameTheCulpritAndLeaveTheSiteAlone) {
  const std::string f = folder_, serve = "serve --site " + site_ + " --listen 127.0.0.1:0";
  std::ofstream(f + "/broken.ldif") << "dn: dc=example,dc=org\nobjectClass: domain\n\ndn: uid=ann,dc=example,dc=org\n"
                                       "uid ann\n";
  fs::create_directories(f + "/bare");
  // A port another program listens on. It shares its port with anyone who asks (as the old
  // server did), so only a server that never asks for a shared port is refused.
  const int taken = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), on = 1;
  ::setsockopt(taken, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
  const int port = orbitel::testing::FreePort();
  const sockaddr_in address = orbitel::testing::Loopback(port);
  const std::string taken_address = "127.0.0.1:" + std::to_string(port);
  ASSERT_EQ(::bind(taken, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(taken, 1), 0);
  const std::tuple<std::string, int, std::string> cases[] = {  // arguments, exit code, message
      {serve + " --directory " + f + "/broken.ldif", 1, f + "/broken.ldif is malformed at line 5"},
      {serve + " --directory file:" + f + "/none.ldif", 1, f + "/none.ldif was not found"},
      {serve + " --directory ftp://127.0.0.1/people", 1, "ftp://127.0.0.1/people"},
      {serve + " --directory-credentials " + f + "/missing.conf", 1, "credentials file " + f + "/missing.conf"},
      {serve + " --store-credentials " + f + "/missing.conf", 1, "credentials file " + f + "/missing.conf"},
      {serve + " --colour blue", 2, "unknown option --colour"},
      {serve + " --threads 0", 2, "--threads takes a number"},
      {"serve --listen 8080", 2, "--listen takes ADDRESS:PORT"},
      {"serve --site " + f + "/nowhere", 1, "nowhere does not exist"},
      {"serve --site " + f + "/bare", 1, "has no templates/ folder"},
      {"launch", 2, "unknown command launch"},
      {serve + " --sites " + f, 2, "--sites serves each site with its own store"},
      {"serve --sites " + f + "/bare", 1, "holds no site folder"},
      {"serve --site " + site_ + " --listen " + taken_address, 1,
       "cannot listen on " + taken_address + ": the port is in use"},
  };
  const auto before = Snapshot(site_);
  for (const auto& [args, code, says] : cases) {
    const auto outcome = orbitel::testing::RunOrbitel(args, f);
    EXPECT_EQ(outcome.code, code) << args << "\n" << outcome.err;
    EXPECT_NE(outcome.err.find(says), npos) << args << "\n" << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << args << "\n" << outcome.err;
    EXPECT_EQ(outcome.out, "") << args;
  }
  EXPECT_EQ(Snapshot(site_), before);
  ::close(taken);
}

TEST_F(ServeStartup, WarnsAndServes) {
  using Arguments = std::vector<std::string>;
  const std::tuple<std::string, Arguments, Arguments> cases[] = {  // address, more arguments, warnings
      {"127.0.0.1", {"--directory", "ldap://127.0.0.1:1/"}, {"the directory ldap://127.0.0.1:1/ does not answer"}},
      {"0.0.0.0", {}, {"shipped team / team and answers on 0.0.0.0", "shipped admin / admin"}},
      {"127.0.0.1", {}, {}},
  };
  for (const auto& [address, more, warnings] : cases) {
    const int port = orbitel::testing::FreePort();
    Arguments args{ORBITEL_BINARY, "serve", "--site", site_, "--listen", address + ":" + std::to_string(port)};
    args.insert(args.end(), more.begin(), more.end());
    const std::string log = folder_ + "/log" + std::to_string(port);
    std::string why;
    pid_t server = orbitel::testing::StartServer(args, log, port, why);
    EXPECT_GT(server, 0) << why;
    orbitel::testing::StopServer(server);
    const std::string said = orbitel::testing::ReadWholeFile(log);
    for (const std::string& warning : warnings) EXPECT_NE(said.find(warning), npos) << said;
    EXPECT_EQ(said.find("warning") != npos, !warnings.empty()) << said;  // and no other warning
  }
}

}  // namespace
