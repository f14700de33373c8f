// `orbitel serve` refusing to start: a misused command line and a site folder it cannot serve
// each get a message that says what to do, and the server never starts half-ready.
#include <gtest/gtest.h>

#include <filesystem>

#include "TempFolder.h"
#include "host/RunOrbitel.h"

namespace {

using orbitel::testing::Quote;
using orbitel::testing::RunOrbitel;

TEST(ServeCommand, RefusesWhatItCannotServe) {
  const std::string folder = orbitel::testing::MakeTempFolder("orbitel-serve").string();
  const struct {
    std::string args;
    int code;
    const char* says;
  } cases[] = {
      {"serve --listen 8080", 2, "--listen takes ADDRESS:PORT"},
      {"serve --listen 127.0.0.1:70000", 2, "--listen takes ADDRESS:PORT"},
      {"serve --threads 0", 2, "--threads takes a number"},
      {"serve --site", 2, "--site needs a value"},
      {"serve --colour blue", 2, "unknown option --colour"},
      {"serve --site " + Quote(folder + "/missing"), 1, "does not exist"},
      {"serve --site " + Quote(folder), 1, "has no templates/ folder"},
      {"serve --site www --directory ftp://127.0.0.1/people --listen 127.0.0.1:0", 1, "ftp://127.0.0.1/people"},
      {"serve --site www --directory ldap://127.0.0.1:1/ --directory-credentials " + Quote(folder + "/none"), 1,
       "credentials file"},
      {"serve --site www --store-credentials " + Quote(folder + "/none"), 1, "credentials file"},
  };
  for (const auto& c : cases) {
    const auto outcome = RunOrbitel(c.args, folder);
    EXPECT_EQ(outcome.code, c.code) << c.args << "\n" << outcome.err;
    EXPECT_NE(outcome.err.find(c.says), std::string::npos) << c.args << "\n" << outcome.err;
  }
  std::filesystem::remove_all(folder);
}

}  // namespace
