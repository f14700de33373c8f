#include "directory/LdapDirectory.h"

#include <gtest/gtest.h>

#include "SlapdServer.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "directory/Directory.h"
#include "directory/DirectoryErrors.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::directory {
namespace {

namespace fs = std::filesystem;

constexpr char kSuffix[] = "dc=orbitel,dc=test";
constexpr char kReader[] = "uid=reader,ou=service,dc=orbitel,dc=test";
constexpr char kLimited[] = "uid=limited,ou=service,dc=orbitel,dc=test";  // 3 entries a search
constexpr char kPaged[] = "uid=paged,ou=service,dc=orbitel,dc=test";      // 2 entries a page

// A service account to bind as, its password "<uid>-secret".
std::string Service(const std::string& uid) {
  return "dn: uid=" + uid + ",ou=service,dc=orbitel,dc=test|objectClass: account|objectClass: simpleSecurityObject|"
         "uid: " + uid + "|userPassword: " + uid + "-secret";
}

// One entry a line, its attributes separated by '|', added (and so kept and returned) in this order.
const std::string kEntries[] = {
    "dn: dc=orbitel,dc=test|objectClass: dcObject|objectClass: organization|dc: orbitel|o: Orbitel",
    "dn: ou=service,dc=orbitel,dc=test|objectClass: organizationalUnit|ou: service",
    Service("reader"), Service("limited"), Service("paged"),
    "dn: ou=people,dc=orbitel,dc=test|objectClass: organizationalUnit|ou: people",
    "dn: uid=zoe,ou=people,dc=orbitel,dc=test|objectClass: inetOrgPerson|uid: zoe|cn: Zoe Adams|sn: Adams",
    "dn: uid=ann,ou=people,dc=orbitel,dc=test|objectClass: inetOrgPerson|uid: ann|cn: Ann|sn: Lee|displayName: Ann Lee|"
    "pwdAccountLockedTime: 20240301120000Z",
    "dn: cn=Bob,ou=people,dc=orbitel,dc=test|objectClass: person|cn: Bob|sn: Nameless",
    "dn: cn=Carl Diaz,ou=people,dc=orbitel,dc=test|objectClass: user|objectClass: lockableAccount|cn: Carl Diaz|"
    "sn: Diaz|uid: not-the-name|sAMAccountName: carl|userAccountControl: 512|nsAccountLock: TRUE",
    "dn: cn=PC7,ou=people,dc=orbitel,dc=test|objectClass: computer|cn: PC7|sn: PC7|sAMAccountName: PC7$",
    "dn: uid=dee,ou=people,dc=orbitel,dc=test|objectClass: person|objectClass: uidObject|"
    "objectClass: lockableAccount|uid: dee|cn: Dee Chen|sn: Chen|nsAccountLock: false",
    "dn: cn=staff,ou=people,dc=orbitel,dc=test|objectClass: groupOfNames|cn: staff|"
    "member: uid=zoe,ou=people,dc=orbitel,dc=test",
    "dn: cn=Eve Ito,ou=people,dc=orbitel,dc=test|objectClass: user|cn: Eve Ito|sn: Ito|sAMAccountName: eve|"
    "userAccountControl: 514",
    "dn: uid=fay,ou=people,dc=orbitel,dc=test|objectClass: inetOrgPerson|uid: fay|cn: Fay Berg|sn: Berg",
};

std::string Ldif() {
  std::string ldif;
  for (const std::string& entry : kEntries) ldif += entry + "\n\n";
  std::replace(ldif.begin(), ldif.end(), '|', '\n');
  return ldif;
}

// The accounts of kEntries as "name|full name|disabled", in server order.
const std::vector<std::string> kAccounts = {"zoe|Zoe Adams|0", "ann|Ann Lee|1", "carl|Carl Diaz|1",
                                            "dee|Dee Chen|0",  "eve|Eve Ito|1",  "fay|Fay Berg|0"};

std::vector<std::string> Described(const std::vector<Account>& accounts) {
  std::vector<std::string> described;
  for (const Account& a : accounts) described.push_back(a.name + "|" + a.full_name + (a.disabled ? "|1" : "|0"));
  return described;
}

// The suite's directory server, with a limit of entries a search and one of entries a page for
// two of its service accounts.
class LdapServer : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    server_ = std::make_unique<orbitel::testing::SlapdServer>(kSuffix);
    if (Start(false)) failure_ = server_->Add(Ldif());
  }

  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    if (!failure_.empty()) GTEST_FAIL() << failure_;
  }

  // Starts slapd on the suite's database; with_default_naming_context gives its root entry a
  // defaultNamingContext of ou=people, as Active Directory's names the domain.
  static bool Start(bool with_default_naming_context) {
    failure_ = server_->Start("limits dn.exact=\"" + std::string(kLimited) + "\" size=3\n" + "limits dn.exact=\"" +
                                  kPaged + "\" size.pr=2\n",
                              with_default_naming_context ? "ou=people," + std::string(kSuffix) : "");
    return failure_.empty();
  }

  // A credentials file of that text; its path.
  static std::string Credentials(const std::string& text) {
    const fs::path path = server_->folder() / ("credentials-" + std::to_string(files_++));
    std::ofstream(path) << text;
    return path.string();
  }

  static std::shared_ptr<const Directory> Open(const std::string& credentials_file = "") {
    Result<std::shared_ptr<const Directory>> directory = OpenDirectory(server_->Uri(), credentials_file);
    EXPECT_TRUE(directory.ok()) << directory.status().description();
    return directory.value_or(nullptr);
  }

  static std::shared_ptr<const LdapDirectory> OpenAs(const char* dn, const std::string& password,
                                                     int page_size) {
    LdapDirectory::Options options;
    options.credentials = BindCredentials{dn, password};
    options.page_size = page_size;
    return LdapDirectory::Open(server_->Uri(), options).value_or(nullptr);
  }

  static inline std::unique_ptr<orbitel::testing::SlapdServer> server_;
  static inline int files_ = 0;
  static inline std::string failure_;
};

TEST_F(LdapServer, ReadsAnonymouslyTheAccountsInServerOrder) {
  std::shared_ptr<const Directory> directory = Open();
  ASSERT_NE(directory, nullptr);
  EXPECT_EQ(directory->NamingContext().value_or("<error>"), kSuffix);
  // Bob has no account name; PC7 is a computer; services, groups and units are no persons.
  Result<std::vector<Account>> accounts = directory->Accounts();
  ASSERT_TRUE(accounts.ok()) << accounts.status().description();
  EXPECT_EQ(Described(*accounts), kAccounts);

  // A DN after the server, as directory addresses often carry one, is no obstacle.
  Result<std::shared_ptr<const Directory>> with_dn =
      OpenDirectory(server_->Uri() + "ou=people," + kSuffix);
  ASSERT_TRUE(with_dn.ok()) << with_dn.status().description();
  EXPECT_EQ((*with_dn)->NamingContext().value_or("<error>"), kSuffix);
}

TEST_F(LdapServer, PagesThroughTheServersLimits) {
  // Pages of two entries: the cookie is followed to the end.
  Result<std::vector<Account>> accounts = OpenAs(kPaged, "paged-secret", 2)->Accounts();
  ASSERT_TRUE(accounts.ok()) << accounts.status().description();
  EXPECT_EQ(Described(*accounts), kAccounts);

  // The same account asking for larger pages than its limit allows.
  const Status refused = OpenAs(kPaged, "paged-secret", 500)->Accounts().status();
  EXPECT_EQ(refused.number(), errors::kDirectoryAdminLimitExceeded) << refused.description();
  EXPECT_NE(refused.description().find("administrative limit"), std::string::npos);

  // Three entries a search, whatever the pages: the list would be incomplete, and says so.
  std::shared_ptr<const LdapDirectory> limited = OpenAs(kLimited, "limited-secret", 2);
  const Status stopped = limited->Accounts().status();
  EXPECT_EQ(stopped.number(), errors::kDirectorySizeLimitExceeded) << stopped.description();
  EXPECT_NE(stopped.description().find("size limit after 3 entries (2 accounts)"),
            std::string::npos)
      << stopped.description();
  EXPECT_EQ(limited->NamingContext().value_or("<error>"), kSuffix);
}

TEST_F(LdapServer, BindsWithTheCredentialsFile) {
  std::shared_ptr<const Directory> directory =
      Open(Credentials("# the calendar's reader\r\n\r\nDN:   " + std::string(kReader) +
                       "  \r\n   # password below\r\npassword:: cmVhZGVyLXNlY3JldA==\r\n"));
  ASSERT_NE(directory, nullptr);
  EXPECT_EQ(Described(directory->Accounts().value_or({})), kAccounts);

  directory = Open(Credentials("dn: " + std::string(kReader) + "\npassword: not-it\n"));
  ASSERT_NE(directory, nullptr);
  for (const Status& status : {directory->Accounts().status(), directory->NamingContext().status()}) {
    EXPECT_EQ(status.number(), errors::kDirectoryLogonFailure) << status.description();
    EXPECT_NE(status.description().find(kReader), std::string::npos) << status.description();
    EXPECT_EQ(status.description().find("not-it"), std::string::npos) << status.description();
  }

  // Files that are not credentials fail at opening, naming the file and line, never the password.
  const std::pair<std::string, std::string> malformed[] = {
      {"dn: " + std::string(kReader) + "\n", "no \"password: <password>\" line"},
      {"dn: x\npassword:: hidden-word*\n", "at line 2: the password is not base64"},
  };
  for (const auto& [text, why] : malformed) {
    const std::string path = Credentials(text);
    const Status status = OpenDirectory(server_->Uri(), path).status();
    EXPECT_EQ(status.number(), errors::kDirectoryFileMalformed) << text;
    for (const std::string& part : {path, why}) {
      EXPECT_NE(status.description().find(part), std::string::npos) << status.description();
    }
    EXPECT_EQ(status.description().find("hidden-word"), std::string::npos) << status.description();
  }
}

// Request threads share one directory; a restart of the server costs the calls made while it
// is down, not the connection afterwards. The restarted server names a default naming context.
TEST_F(LdapServer, ServesSeveralThreadsAndOutlivesARestart) {
  std::shared_ptr<const Directory> directory =
      Open(Credentials("dn: " + std::string(kReader) + "\npassword: reader-secret\n"));
  ASSERT_NE(directory, nullptr);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 25; ++i) {
        if (Described(directory->Accounts().value_or({})) != kAccounts) ++failures;
        if (directory->NamingContext().value_or("") != kSuffix) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);

  server_->Stop();
  for (const Status& status : {directory->Accounts().status(), directory->NamingContext().status()}) {
    EXPECT_EQ(status.number(), errors::kDirectoryServerDown) << status.description();
    EXPECT_NE(status.description().find(server_->Uri() + " is not available"), std::string::npos);
  }
  ASSERT_TRUE(Start(true)) << failure_;
  EXPECT_EQ(directory->NamingContext().value_or("<error>"), "ou=people," + std::string(kSuffix));
  EXPECT_EQ(Described(directory->Accounts().value_or({})), kAccounts);

  // A connection opened before the restart is replaced without an error.
  std::shared_ptr<const Directory> earlier = Open();
  ASSERT_TRUE(earlier->Accounts().ok());
  server_->Stop();
  ASSERT_TRUE(Start(false)) << failure_;
  Result<std::vector<Account>> accounts = earlier->Accounts();
  ASSERT_TRUE(accounts.ok()) << accounts.status().description();
  EXPECT_EQ(Described(*accounts), kAccounts);
  EXPECT_EQ(earlier->NamingContext().value_or("<error>"), kSuffix);
}

}  // namespace
}  // namespace orbitel::directory
