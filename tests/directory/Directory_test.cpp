#include "directory/Directory.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "directory/DirectoryErrors.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::directory {
namespace {

namespace fs = std::filesystem;

TEST(DnsNameOf, JoinsTheDomainComponentsInOrder) {
  EXPECT_EQ(DnsNameOf("dc=corp,dc=example,dc=com"), "corp.example.com");
  EXPECT_EQ(DnsNameOf("OU=Staff, Dc=corp , DC=example"), "corp.example");
  EXPECT_EQ(DnsNameOf("CN=Smith\\, DC=fake,OU=Staff,DC=corp"), "corp");
  EXPECT_EQ(DnsNameOf("O=Acme,C=US"), "");
}

// The shipped demo directory reached through each address form.
TEST(OpenDirectory, OpensFileAddressesAndPlainPaths) {
  const std::string absolute = fs::absolute("www/directory.ldif").string();
  for (const std::string& address :
       {std::string("www/directory.ldif"), "file:" + absolute, "FILE://localhost" + absolute}) {
    Result<std::shared_ptr<const Directory>> directory = OpenDirectory(address);
    ASSERT_TRUE(directory.ok()) << address << ": " << directory.status().description();
    EXPECT_EQ((*directory)->NamingContext().value_or(""), "DC=ORBITEL,DC=DEMO") << address;
  }

  Result<std::shared_ptr<const Directory>> missing = OpenDirectory("file:///no/such%20folder.ldif");
  ASSERT_TRUE(missing.ok());
  Status status = (*missing)->Accounts().status();
  EXPECT_EQ(status.number(), orbitel::errors::kPathNotFound);
  EXPECT_NE(status.description().find("/no/such folder.ldif"), std::string::npos);
}

// LDAP addresses open without connecting: the server is first asked by the calls, and a missing
// credentials file by the opening (ServeStartup_test.cpp). File sources have no use for one.
TEST(OpenDirectory, OpensLdapAddressesWithoutConnecting) {
  for (const char* address : {"LDAP://dc01", "ldaps://dc01.orbitel.demo:636/DC=ORBITEL,DC=DEMO"}) {
    EXPECT_TRUE(OpenDirectory(address).ok()) << address;
  }
  EXPECT_TRUE(OpenDirectory("www/directory.ldif", "/no/such/credentials").ok());
  EXPECT_EQ(OpenDirectory("ldap://[::1").status().number(), errors::kInvalidDirectoryAddress);
}

TEST(OpenDirectory, RefusesAddressesItHasNoSourceFor) {
  for (const char* address : {"gopher://dc01/x", "file://fileserver/share/directory.ldif", "",
                              "file:"}) {
    Result<std::shared_ptr<const Directory>> directory = OpenDirectory(address);
    EXPECT_EQ(directory.status().number(), errors::kInvalidDirectoryAddress) << address;
    EXPECT_EQ(directory.status().description().rfind("Unsupported directory address", 0), 0u);
  }
}

}  // namespace
}  // namespace orbitel::directory
