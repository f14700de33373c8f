#include "directory/LdifDirectory.h"

#include <gtest/gtest.h>

#include "TempFolder.h"
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "directory/DirectoryErrors.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::directory {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> NamesOf(const std::vector<Account>& accounts) {
  std::vector<std::string> names;
  for (const Account& account : accounts) names.push_back(account.name);
  return names;
}

const Account* Find(const std::vector<Account>& accounts, const std::string& name) {
  for (const Account& account : accounts) {
    if (account.name == name) return &account;
  }
  return nullptr;
}

TEST(LdifDemoFile, ListsTheDemoCompanyInFileOrder) {
  LdifDirectory directory("www/directory.ldif");
  Result<std::string> naming_context = directory.NamingContext();
  ASSERT_TRUE(naming_context.ok()) << naming_context.status().description();
  EXPECT_EQ(*naming_context, "DC=ORBITEL,DC=DEMO");

  Result<std::vector<Account>> accounts = directory.Accounts();
  ASSERT_TRUE(accounts.ok()) << accounts.status().description();
  // The computer WEB01$ is never listed; the site's own rules drop the service accounts.
  EXPECT_EQ(NamesOf(*accounts),
            (std::vector<std::string>{"alice", "bmartin", "cdiaz", "dchen", "elarsen", "fhaddad",
                                      "gokafor", "hlefevre", "mellis", "inovak", "jberg",
                                      "ktanaka", "soneill", "IUSR_WEB01", "IWAM_WEB01",
                                      "SQLServerAgent", "TsInternetUser", "MeetingRoom2",
                                      "ConferenceCalendar"}));
  for (const Account& account : *accounts) {
    EXPECT_EQ(account.disabled, account.name == "mellis") << account.name;
    EXPECT_FALSE(account.full_name.empty()) << account.name;
  }
  EXPECT_EQ(Find(*accounts, "soneill")->full_name, "Sean O'Neill");
  EXPECT_EQ(Find(*accounts, "alice")->full_name, "Alice Walker");
}

class LdifFile : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = orbitel::testing::MakeTempFolder("orbitel-ldif");
    path_ = (folder_ / "directory.ldif").string();
  }
  void TearDown() override { fs::remove_all(folder_); }

  void Write(const std::string& text) { WriteTo(path_, text); }
  static void WriteTo(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
  }

  std::vector<Account> AccountsOf(const std::string& text) {
    Write(text);
    Result<std::vector<Account>> accounts = LdifDirectory(path_).Accounts();
    EXPECT_TRUE(accounts.ok()) << accounts.status().description();
    return accounts.ok() ? *accounts : std::vector<Account>{};
  }

  std::string NamingContextOf(const std::string& text) {
    Write(text);
    Result<std::string> naming_context = LdifDirectory(path_).NamingContext();
    EXPECT_TRUE(naming_context.ok()) << naming_context.status().description();
    return naming_context.value_or("<error>");
  }

  fs::path folder_;
  std::string path_;
};

TEST_F(LdifFile, ReadsTheLdifSyntax) {
  std::vector<Account> accounts = AccountsOf(
      "# exported for the\r\n"
      "  calendar (a folded comment)\r\n"
      "version: 1\r\n"
      "dn: CN=Zoe Adams,OU=Staff,\r\n"
      " DC=corp,DC=example\r\n"
      "objectclass: USER\r\n"
      "SAMACCOUNTNAME: zadams\r\n"
      "displayName: Zoe Ad\r\n"
      " ams   \r\n"
      "jpegPhoto:< file:///photos/zadams.jpg\r\n"
      "\r\n"
      "   \t\r\n"
      "dn:: Q049UmVuw6llIEJsYW5jLERDPWNvcnAsREM9ZXhhbXBsZQ==\n"
      "objectClass: person\n"
      "# a comment inside an entry\n"
      "sAMAccountName: rblanc\n"
      "displayName:: UmVuw6llIEJsYW5j\n"
      "description:: IGxlYWRpbmcgYmxhbmsgYW5kIHBhZGRpbmcgbGVmdCBvdXQ\n"
      "\n"
      "dn: CN=Zoe Adams,OU=Staff,DC=corp,DC=example\n"
      "changetype: modify\n"
      "replace: displayName\n"
      "displayName: Not Applied\n"
      "-\n"
      "\n"
      "dn: CN=Old Account,DC=corp,DC=example\n"
      "changetype: delete\n"
      "\n"
      "dn: CN=New Hire,OU=Staff,DC=corp,DC=example\n"
      "control: 1.2.840.113556.1.4.805 true\n"
      "changetype: add\n"
      "objectClass: inetOrgPerson\n"
      "uid: nhire\n"
      "cn: New Hire");
  ASSERT_EQ(NamesOf(accounts), (std::vector<std::string>{"zadams", "rblanc", "nhire"}));
  EXPECT_EQ(accounts[0].full_name, "Zoe Adams");
  EXPECT_EQ(accounts[1].full_name, "Ren\xC3\xA9" "e Blanc");
  EXPECT_EQ(accounts[2].full_name, "New Hire");
}

TEST_F(LdifFile, TakesAccountsFromPersonEntriesWithAName) {
  std::vector<Account> accounts = AccountsOf(
      "dn: dc=corp,dc=example\nobjectClass: domain\n\n"
      "dn: uid=pat,dc=corp,dc=example\nobjectClass: inetOrgPerson\nuid: pat\ncn: Pat Lee\n\n"
      "dn: cn=both,dc=corp,dc=example\nobjectClass: user\nuid: ignored\n"
      "sAMAccountName: both\ndisplayName: Shown Name\ncn: Hidden Name\n\n"
      "dn: cn=blank,dc=corp,dc=example\nobjectClass: organizationalPerson\nsAMAccountName:\n"
      "uid: blank\ndisplayName:\n\n"
      "dn: cn=nameless,dc=corp,dc=example\nobjectClass: person\ncn: Nobody\n\n"
      "dn: cn=staff,dc=corp,dc=example\nobjectClass: group\nsAMAccountName: staff\n\n"
      "dn: cn=PC7,dc=corp,dc=example\nobjectClass: user\nobjectClass: Computer\n"
      "sAMAccountName: PC7$\n\n"
      "dn: cn=last,dc=corp,dc=example\nobjectClass: person\nsAMAccountName: last\n"
      "displayName: Last One\n");
  ASSERT_EQ(NamesOf(accounts), (std::vector<std::string>{"pat", "both", "blank", "last"}));
  EXPECT_EQ(accounts[0].full_name, "Pat Lee");
  EXPECT_EQ(accounts[1].full_name, "Shown Name");
  EXPECT_EQ(accounts[2].full_name, "");
}

TEST_F(LdifFile, FlagsDisabledAccounts) {
  std::vector<Account> accounts = AccountsOf(
      "dn: dc=corp\nobjectClass: domain\n\n"
      "dn: cn=a\nobjectClass: user\nsAMAccountName: normal\nuserAccountControl: 512\n\n"
      "dn: cn=b\nobjectClass: user\nsAMAccountName: uac514\nuserAccountControl: 514\n\n"
      "dn: cn=c\nobjectClass: user\nsAMAccountName: uac66050\nuserAccountControl: 66050\n\n"
      "dn: cn=d\nobjectClass: user\nsAMAccountName: signed\nuserAccountControl: -2147483646\n\n"
      "dn: cn=e\nobjectClass: user\nsAMAccountName: notanumber\nuserAccountControl: 0x2\n\n"
      "dn: uid=f\nobjectClass: inetOrgPerson\nuid: locked\nnsAccountLock: True\n\n"
      "dn: uid=g\nobjectClass: inetOrgPerson\nuid: unlocked\nnsAccountLock: false\n\n"
      "dn: uid=h\nobjectClass: inetOrgPerson\nuid: policy\n"
      "pwdAccountLockedTime: 20240301120000Z\n");
  std::vector<std::string> disabled;
  for (const Account& account : accounts) {
    if (account.disabled) disabled.push_back(account.name);
  }
  EXPECT_EQ(accounts.size(), 8u);
  EXPECT_EQ(disabled, (std::vector<std::string>{"uac514", "uac66050", "signed", "locked", "policy"}));
}

TEST_F(LdifFile, NamingContextIsTheTopEntryAsSpelled) {
  EXPECT_EQ(NamingContextOf("dn: OU=People,dc=Corp,DC=Example\nou: People\n\n"
                            "dn: dc=Corp, DC=Example\nobjectClass: domain\n\n"
                            "dn: DC=Other\nobjectClass: domain\n"),
            "dc=Corp, DC=Example");
  EXPECT_EQ(NamingContextOf("version: 1\n\ndn: o=Acme,c=US\nobjectClass: organization\n\n"
                            "dn: dc=acme+o=x,c=US\nobjectClass: domain\n"),
            "o=Acme,c=US");

  Write("# nothing exported yet\nversion: 1\n");
  LdifDirectory empty(path_);
  EXPECT_EQ(empty.NamingContext().status().number(), errors::kDirectoryFileMalformed);
  ASSERT_TRUE(empty.Accounts().ok());
  EXPECT_TRUE(empty.Accounts()->empty());
}

TEST_F(LdifFile, MalformedContentNamesTheLine) {
  const std::pair<std::string, int> cases[] = {
      {" continued from nothing\ndn: dc=x\n", 1},
      {"# comment\n\n continued after a blank line\n", 3},
      {"dn: dc=x\nobjectClass: domain\ndescription:: not*base64\n", 3},
      {"dn: dc=x\nobjectClass: domain\n\ndn: cn=a,dc=x\nobjectClass: user\nAlice Walker\n", 6},
      {"dn: dc=x\nobjectClass: domain\n\ncn: no dn\nobjectClass: user\n", 4},
      {"dn: dc=x\nobjectClass: domain\ndn: cn=a,dc=x\n", 3},
      {"dn: dc=x\ndisplay name: spaced\n", 2},
  };
  for (const auto& [text, line] : cases) {
    Write(text);
    LdifDirectory directory(path_);
    for (const Status& status : {directory.Accounts().status(), directory.NamingContext().status()}) {
      EXPECT_EQ(status.number(), errors::kDirectoryFileMalformed) << text;
      EXPECT_NE(status.description().find(path_), std::string::npos) << status.description();
      EXPECT_NE(status.description().find("at line " + std::to_string(line) + ":"),
                std::string::npos)
          << status.description();
    }
  }
}

TEST_F(LdifFile, UnreadableFilesAreErrorsNamingTheFile) {
  LdifDirectory missing(path_);
  Result<std::vector<Account>> accounts = missing.Accounts();
  EXPECT_EQ(accounts.status().number(), orbitel::errors::kPathNotFound);
  EXPECT_NE(accounts.status().description().find(path_), std::string::npos);
  EXPECT_EQ(missing.NamingContext().status().number(), orbitel::errors::kPathNotFound);

  EXPECT_FALSE(LdifDirectory(folder_.string()).Accounts().ok());

  if (::geteuid() == 0) GTEST_SKIP() << "permissions do not stop root";
  Write("dn: dc=x\n");
  fs::permissions(path_, fs::perms::none);
  EXPECT_EQ(LdifDirectory(path_).Accounts().status().number(), orbitel::errors::kPermissionDenied);
}

TEST_F(LdifFile, RereadsOnlyAChangedFile) {
  const std::string one = "dn: cn=a\nobjectClass: user\nsAMAccountName: ann\n";
  const std::string two = one + "\ndn: cn=b\nobjectClass: user\nsAMAccountName: bob\n";
  Write(one);
  LdifDirectory directory(path_);
  EXPECT_EQ(NamesOf(*directory.Accounts()), std::vector<std::string>{"ann"});

  Write(two);
  EXPECT_EQ(NamesOf(*directory.Accounts()), (std::vector<std::string>{"ann", "bob"}));

  // Same size and modification time: the parsed copy stands.
  fs::file_time_type modified = fs::last_write_time(path_);
  std::string same_size = two;
  same_size.replace(same_size.find("bob"), 3, "eve");
  Write(same_size);
  fs::last_write_time(path_, modified);
  EXPECT_EQ(NamesOf(*directory.Accounts()), (std::vector<std::string>{"ann", "bob"}));

  fs::remove(path_);
  EXPECT_EQ(directory.Accounts().status().number(), orbitel::errors::kPathNotFound);
  Write("dn: cn=a\nobjectClass: user\nAlice\n");
  EXPECT_EQ(directory.Accounts().status().number(), errors::kDirectoryFileMalformed);
  Write(one);
  EXPECT_EQ(NamesOf(*directory.Accounts()), std::vector<std::string>{"ann"});
}

TEST_F(LdifFile, ServesSeveralThreadsWhileTheFileIsReplaced) {
  std::string small = "dn: DC=corp\nobjectClass: domain\n";
  std::string large = small;
  for (int i = 0; i < 200; ++i) {
    large += "\ndn: cn=u" + std::to_string(i) + ",DC=corp\nobjectClass: user\nsAMAccountName: u" +
             std::to_string(i) + "\n";
  }
  Write(small);
  LdifDirectory directory(path_);
  std::atomic<bool> done{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&] {
      while (!done) {
        Result<std::vector<Account>> accounts = directory.Accounts();
        Result<std::string> naming_context = directory.NamingContext();
        bool whole = accounts.ok() && (accounts->empty() || accounts->size() == 200);
        if (!whole || naming_context.value_or("") != "DC=corp") ++failures;
      }
    });
  }
  // Replaced the way editors and deployments do it: a new file renamed over the old.
  const std::string staged = (folder_ / "staged.ldif").string();
  for (int round = 0; round < 100; ++round) {
    WriteTo(staged, round % 2 ? small : large);
    fs::rename(staged, path_);
  }
  done = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(failures, 0);
  EXPECT_TRUE(directory.Accounts()->empty());
}

}  // namespace
}  // namespace orbitel::directory
