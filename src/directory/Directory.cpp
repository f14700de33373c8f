#include "directory/Directory.h"

#include "directory/CredentialsFile.h"
#include "directory/DirectoryErrors.h"
#include "directory/DistinguishedName.h"
#include "directory/LdapDirectory.h"
#include "directory/LdifDirectory.h"
#include "runtime/TextCoding.h"
#include "runtime/TrimBlanks.h"

namespace orbitel::directory {
namespace {

// The scheme of an address ("file", "ldap"), or empty for a plain path.
std::string_view SchemeOf(std::string_view address) {
  std::size_t colon = address.find(':');
  if (colon == std::string_view::npos || colon == 0) return {};
  for (std::size_t i = 0; i < colon; ++i) {
    char c = address[i];
    bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    bool other = (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    if (!letter && !(i > 0 && other)) return {};
  }
  return address.substr(0, colon);
}

// The path of "file:/p", "file:///p" or "file://localhost/p"; empty for another host's file.
std::string FilePathOf(std::string_view rest) {
  if (rest.substr(0, 2) == "//") {
    rest.remove_prefix(2);
    std::size_t slash = rest.find('/');
    std::string_view host = rest.substr(0, slash);
    if (!host.empty() && !EqualsIgnoringCase(host, "localhost")) return {};
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);
  }
  return PercentDecode(rest);
}

Status Unsupported(const std::string& uri) {
  return Status::Error(errors::kInvalidDirectoryAddress, "Unsupported directory address: " + uri);
}

}  // namespace

std::string DnsNameOf(const std::string& naming_context) {
  std::string name;
  for (const std::string& component : DomainComponentsOf(naming_context)) {
    if (!name.empty()) name.push_back('.');
    name += component;
  }
  return name;
}

Result<std::shared_ptr<const Directory>> OpenDirectory(const std::string& uri,
                                                       const std::string& credentials_file) {
  std::string_view scheme = SchemeOf(uri);
  std::string path;
  if (scheme.empty()) {
    path = uri;
  } else if (EqualsIgnoringCase(scheme, "file")) {
    path = FilePathOf(std::string_view(uri).substr(scheme.size() + 1));
  } else if (EqualsIgnoringCase(scheme, "ldap") || EqualsIgnoringCase(scheme, "ldaps")) {
    LdapDirectory::Options options;
    if (!credentials_file.empty()) {
      Result<BindCredentials> credentials = ReadCredentialsFile(credentials_file);
      if (!credentials.ok()) return credentials.status();
      options.credentials = std::move(credentials).value();
    }
    Result<std::shared_ptr<const LdapDirectory>> directory =
        LdapDirectory::Open(uri, std::move(options));
    if (!directory.ok()) return directory.status();
    return std::shared_ptr<const Directory>(*directory);
  } else {
    return Unsupported(uri);
  }
  if (TrimBlanks(path).empty()) return Unsupported(uri);
  return std::shared_ptr<const Directory>(std::make_shared<LdifDirectory>(std::move(path)));
}

}  // namespace orbitel::directory
