#pragma once
// A real OpenLDAP server for a test suite: its own configuration and database in a temporary
// folder, listening on 127.0.0.1 only, stopped when the suite ends (and with the test program,
// should that die first). It can be stopped and started again on the same port and database.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "ServerProcess.h"
#include "TempFolder.h"

namespace orbitel::testing {

// What OpenLDAP lacks of the Active Directory and 389 Directory Server schemas, and a
// defaultNamingContext for the root entry (under OpenLDAP's experimental arc).
inline constexpr char kDirectorySchema[] = R"(
attributetype ( 1.2.840.113556.1.4.221 NAME 'sAMAccountName'
  EQUALITY caseIgnoreMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 SINGLE-VALUE )
attributetype ( 1.2.840.113556.1.4.8 NAME 'userAccountControl'
  EQUALITY integerMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.27 SINGLE-VALUE )
attributetype ( 2.16.840.1.113730.3.1.610 NAME 'nsAccountLock'
  EQUALITY caseIgnoreMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 SINGLE-VALUE )
attributetype ( 1.3.6.1.4.1.4203.666.11.90.1 NAME 'defaultNamingContext'
  EQUALITY distinguishedNameMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.12 SINGLE-VALUE )
objectclass ( 1.2.840.113556.1.5.9 NAME 'user' SUP organizationalPerson STRUCTURAL
  MAY ( sAMAccountName $ userAccountControl $ displayName $ uid ) )
objectclass ( 1.2.840.113556.1.3.30 NAME 'computer' SUP user STRUCTURAL )
objectclass ( 2.16.840.1.113730.3.2.1 NAME 'lockableAccount' AUXILIARY MAY nsAccountLock )
)";

class SlapdServer {
 public:
  static constexpr char kProgram[] = "/usr/sbin/slapd";
  static constexpr char kAdminPassword[] = "admin-secret";

  explicit SlapdServer(std::string suffix) : suffix_(std::move(suffix)) {}
  ~SlapdServer() {
    Stop();
    if (!folder_.empty()) std::filesystem::remove_all(folder_);
  }
  SlapdServer(const SlapdServer&) = delete;
  SlapdServer& operator=(const SlapdServer&) = delete;

  // Starts slapd with the lines given added to its database's configuration, and, when
  // default_naming_context is not empty, a root entry that names it as Active Directory's does.
  // Empty once it answers, else why not.
  std::string Start(const std::string& database_lines = "", const std::string& default_naming_context = "") {
    if (folder_.empty()) {
      folder_ = MakeTempFolder("orbitel-ldap");
      port_ = FreePort();
      std::ofstream(folder_ / "orbitel-test.schema") << kDirectorySchema;
      std::filesystem::create_directory(folder_ / "db");
    }
    const std::string f = folder_.string();
    std::ofstream(folder_ / "root.ldif") << "dn:\ndefaultNamingContext: " << default_naming_context << "\n";
    std::ofstream(folder_ / "slapd.conf")
        << "include /etc/ldap/schema/core.schema\ninclude /etc/ldap/schema/cosine.schema\n"
        << "include /etc/ldap/schema/inetorgperson.schema\ninclude /etc/ldap/schema/nis.schema\n"
        << "include " << f << "/orbitel-test.schema\nmodulepath /usr/lib/ldap\nmoduleload back_mdb\n"
        << "moduleload ppolicy\npidfile " << f << "/slapd.pid\n"
        << (default_naming_context.empty() ? "" : "rootDSE " + f + "/root.ldif\n")
        << "database mdb\nmaxsize 10485760\nsuffix \"" << suffix_ << "\"\nrootdn \"" << AdminDn() << "\"\n"
        << "rootpw " << kAdminPassword << "\ndirectory " << f << "/db\noverlay ppolicy\n" << database_lines
        << "access to attrs=userPassword by anonymous auth by * none\naccess to * by * read\n";
    std::string why;
    // -d keeps slapd in the foreground, a child of this program.
    pid_ = StartServer({kProgram, "-h", Uri(), "-f", f + "/slapd.conf", "-d", "0"}, f + "/slapd.log", port_, why);
    return pid_ > 0 ? "" : why;
  }

  // Adds the entries as the administrator; empty when all were added, else why not.
  std::string Add(const std::string& ldif) {
    const std::string f = folder_.string();
    std::ofstream(f + "/entries.ldif") << ldif;
    const std::string add = "ldapadd -x -H " + Uri() + " -D " + AdminDn() + " -w " + kAdminPassword + " -f " + f +
                            "/entries.ldif >" + f + "/ldapadd.log 2>&1";
    return std::system(add.c_str()) == 0 ? "" : "ldapadd refused the entries: " + ReadWholeFile(f + "/ldapadd.log");
  }

  void Stop() { StopServer(pid_); }

  std::string Uri() const { return "ldap://127.0.0.1:" + std::to_string(port_) + "/"; }
  std::string AdminDn() const { return "cn=admin," + suffix_; }
  const std::filesystem::path& folder() const { return folder_; }

 private:
  std::string suffix_;
  std::filesystem::path folder_;
  int port_ = 0;
  pid_t pid_ = -1;
};

}  // namespace orbitel::testing
