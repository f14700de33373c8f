#include "directory/LdifDirectory.h"

#include <gtest/gtest.h>

#include "TempFolder.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "directory/DirectoryErrors.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::directory {
namespace {

namespace fs = std::filesystem;

// "name|full name" of each account, with "|off" after a disabled one.
std::vector<std::string> Described(const Result<std::vector<Account>>& accounts) {
  std::vector<std::string> described;
  for (const Account& a : accounts.value_or(std::vector<Account>{})) {
    described.push_back(a.name + "|" + a.full_name + (a.disabled ? "|off" : ""));
  }
  return described;
}

TEST(LdifFixture, ReadsAnExportWithItsFoldingsEncodingsAndChangeRecords) {
  LdifDirectory directory("tests/fixtures/directory.ldif");
  EXPECT_EQ(directory.NamingContext().value_or("<error>"), "DC=corp,DC=example");
  // Change records add but never modify or delete; a computer is no account; a
  // userAccountControl that is no decimal number disables nothing.
  EXPECT_EQ(Described(directory.Accounts()),
            (std::vector<std::string>{"zadams|Zoe Adams", "rblanc|Ren\xC3\xA9" "e Blanc", "pat|Pat Lee",
                                      "both|Both Names", "mleft||off", "signed||off", "hex|", "IUSR_WEB01|",
                                      "MeetingRoom2|", "ORBITEL|"}));
}

class LdifFile : public ::testing::Test {
 protected:
  void SetUp() override { folder_ = orbitel::testing::MakeTempFolder("orbitel-ldif"); }
  void TearDown() override { fs::remove_all(folder_); }

  void Write(const std::string& text, const std::string& name = "directory.ldif") {
    std::ofstream(folder_ / name, std::ios::binary | std::ios::trunc) << text;
  }
  std::string Path() const { return (folder_ / "directory.ldif").string(); }

  fs::path folder_;
};

TEST_F(LdifFile, CrLfLinesAndTheTopEntryAsSpelled) {
  Write("# exported for the\r\n  calendar\r\nversion: 1\r\n\r\n   \t\r\n"
        "dn: OU=People,dc=Corp, DC=Example\r\nou: People\r\n\r\n"
        "dn: dc=Corp, DC=Example\r\nobjectClass: domain\r\n\r\n"
        "dn: cn=a,dc=Corp, DC=Example\r\nobjectClass: user\r\nsAMAccountName: ann\r\n");
  LdifDirectory directory(Path());
  EXPECT_EQ(directory.NamingContext().value_or("<error>"), "dc=Corp, DC=Example");
  EXPECT_EQ(Described(directory.Accounts()), std::vector<std::string>{"ann|"});

  Write("# nothing exported yet\nversion: 1\n");
  LdifDirectory empty(Path());
  EXPECT_EQ(empty.NamingContext().status().number(), errors::kDirectoryFileMalformed);
  EXPECT_TRUE(Described(empty.Accounts()).empty());
}

TEST_F(LdifFile, MalformedContentNamesTheFileAndLine) {
  const std::pair<std::string, int> cases[] = {
      {" continued from nothing\ndn: dc=x\n", 1},
      {"dn: dc=x\nobjectClass: domain\ndescription:: not*base64\n", 3},
      {"dn: dc=x\nobjectClass: domain\n\ndn: cn=a,dc=x\nobjectClass: user\nAlice Walker\n", 6},
      {"dn: dc=x\nobjectClass: domain\ndn: cn=a,dc=x\n", 3},
      {"dn: dc=x\n# a comment\ndescription: one\r\n\n  \ndn: cn=a,dc=x\ncn: a\rb\nsn: lost\n", 7},
  };
  for (const auto& [text, line] : cases) {
    Write(text);
    LdifDirectory directory(Path());
    for (const Status& status : {directory.Accounts().status(), directory.NamingContext().status()}) {
      EXPECT_EQ(status.number(), errors::kDirectoryFileMalformed) << text;
      const std::string& why = status.description();
      EXPECT_TRUE(why.find(Path()) != std::string::npos &&
                  why.find("at line " + std::to_string(line) + ":") != std::string::npos)
          << why;
    }
  }
}

TEST_F(LdifFile, RereadsOnlyAChangedFile) {
  const std::string one = "dn: cn=a\nobjectClass: user\nsAMAccountName: ann\n";
  const std::string two = one + "\ndn: cn=b\nobjectClass: user\nsAMAccountName: bob\n";
  Write(one);
  LdifDirectory directory(Path());
  EXPECT_EQ(Described(directory.Accounts()), std::vector<std::string>{"ann|"});
  Write(two);
  EXPECT_EQ(Described(directory.Accounts()), (std::vector<std::string>{"ann|", "bob|"}));

  // Same size and modification time: the parsed copy stands.
  const fs::file_time_type modified = fs::last_write_time(Path());
  std::string same_size = two;
  Write(same_size.replace(same_size.find("bob"), 3, "eve"));
  fs::last_write_time(Path(), modified);
  EXPECT_EQ(Described(directory.Accounts()), (std::vector<std::string>{"ann|", "bob|"}));

  fs::remove(Path());  // a file gone, or a folder in its place, is an error naming the file
  const Status missing = directory.Accounts().status();
  EXPECT_EQ(missing.number(), orbitel::errors::kPathNotFound);
  EXPECT_NE(missing.description().find(Path()), std::string::npos);
  EXPECT_FALSE(LdifDirectory(folder_.string()).Accounts().ok());
  Write("dn: cn=a\nobjectClass: user\nAlice\n");
  EXPECT_EQ(directory.Accounts().status().number(), errors::kDirectoryFileMalformed);
}

TEST_F(LdifFile, ServesSeveralThreadsWhileTheFileIsReplaced) {
  const std::string small = "dn: DC=corp\nobjectClass: domain\n";
  std::string large = small;
  for (int i = 0; i < 200; ++i) {
    const std::string n = std::to_string(i);
    large += "\ndn: cn=u" + n + ",DC=corp\nobjectClass: user\nsAMAccountName: u" + n + "\n";
  }
  Write(small);
  LdifDirectory directory(Path());
  std::atomic<bool> done{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&] {
      while (!done) {
        const auto accounts = directory.Accounts();  // the small file or the large one, never a part
        if (!accounts.ok() || (!accounts->empty() && accounts->size() != 200) ||
            directory.NamingContext().value_or("") != "DC=corp") ++failures;
      }
    });
  }
  // Replaced the way editors and deployments do it: a new file renamed over the old.
  for (int round = 0; round < 100; ++round) {
    Write(round % 2 ? small : large, "staged.ldif");
    fs::rename(folder_ / "staged.ldif", Path());
  }
  done = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace orbitel::directory
