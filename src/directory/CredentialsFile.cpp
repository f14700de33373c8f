#include "directory/CredentialsFile.h"

#include <cerrno>
#include <cstring>

#include "directory/DirectoryErrors.h"
#include "directory/LdifReader.h"
#include "runtime/CredentialsFile.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::directory {
namespace {

Status FileError(const std::string& path, int error) {
  if (error == EACCES || error == EPERM) {
    return Status::Error(orbitel::errors::kPermissionDenied,
                         "Permission denied reading the directory credentials file " + path);
  }
  if (error == ENOENT || error == ENOTDIR) {
    return Status::Error(orbitel::errors::kPathNotFound,
                         "The directory credentials file " + path + " was not found");
  }
  return Status::Error(orbitel::errors::kPathNotFound, "The directory credentials file " + path +
                                                           " cannot be read: " +
                                                           std::strerror(error));
}

Status StatusOf(const std::string& path, const CredentialsFault& fault) {
  std::string why;
  switch (fault.kind) {
    case CredentialsFault::kNotFound:
    case CredentialsFault::kCannotOpen:
    case CredentialsFault::kCannotRead: return FileError(path, fault.system_error);
    case CredentialsFault::kTooLarge: why = "it is far too large"; break;
    case CredentialsFault::kNoColon: why = "expected \"dn: <bind DN>\" or \"password: <password>\""; break;
    case CredentialsFault::kUnknownName:
      why = "unknown name \"" + fault.name + "\" (only dn and password belong here)";
      break;
    case CredentialsFault::kRepeated: why = "a second " + fault.name + " line"; break;
    case CredentialsFault::kNotBase64: why = "the " + fault.name + " is not base64"; break;
    // An empty password would make an unauthenticated bind, which servers take as anonymous.
    case CredentialsFault::kEmpty: why = "the " + fault.name + " is empty"; break;
    case CredentialsFault::kMissing:
      why = fault.name == "dn" ? "there is no \"dn: <bind DN>\" line" : "there is no \"password: <password>\" line";
  }
  const std::string where = fault.line > 0 ? " at line " + std::to_string(fault.line) : std::string();
  return Status::Error(errors::kDirectoryFileMalformed,
                       "The directory credentials file " + path + " is malformed" + where + ": " + why);
}

}  // namespace

Result<BindCredentials> ReadCredentialsFile(const std::string& path) {
  auto read = ReadCredentials(path, {{"dn", "password"}, DecodeLdifBase64, false});
  if (const auto* fault = std::get_if<CredentialsFault>(&read)) return StatusOf(path, *fault);
  auto& values = std::get<std::vector<std::string>>(read);
  return BindCredentials{std::move(values[0]), std::move(values[1])};
}

}  // namespace orbitel::directory
