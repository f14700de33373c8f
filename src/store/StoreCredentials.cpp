#include "store/StoreCredentials.h"

#include "runtime/Conversions.h"
#include "runtime/CredentialsFile.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

Status StatusOf(const std::string& path, const CredentialsFault& fault) {
  const auto at_line = [&](const std::string& what) {
    return Status::Error(errors::kSyntaxError, "line " + std::to_string(fault.line) + " of " + path + ": " + what);
  };
  const std::string name = ToLower(fault.name);
  switch (fault.kind) {
    case CredentialsFault::kNotFound:
      return Status::Error(errors::kPathNotFound, "The store credentials file " + path + " does not exist");
    case CredentialsFault::kCannotOpen:
      return Status::Error(errors::kPermissionDenied, "The store credentials file " + path + " cannot be read");
    case CredentialsFault::kTooLarge:
      return Status::Error(errors::kSyntaxError, "The store credentials file " + path + " is far too large");
    case CredentialsFault::kNoColon: return at_line("expected \"name: value\"");
    case CredentialsFault::kUnknownName: return at_line("unknown name \"" + name + "\" (user or password)");
    case CredentialsFault::kRepeated: return at_line("\"" + name + "\" is given twice");
    // A folder opens and reads as a file without lines.
    case CredentialsFault::kCannotRead:
    case CredentialsFault::kNotBase64:
    case CredentialsFault::kEmpty:
    case CredentialsFault::kMissing: break;
  }
  return Status::Error(errors::kSyntaxError,
                       "The store credentials file " + path + " needs a user and a password line");
}

}  // namespace

Result<StoreCredentials> ReadStoreCredentials(const std::string& path) {
  auto read = ReadCredentials(path, {{"user", "password"}});
  if (const auto* fault = std::get_if<CredentialsFault>(&read)) return StatusOf(path, *fault);
  auto& values = std::get<std::vector<std::string>>(read);
  if (values[0].empty()) return StatusOf(path, CredentialsFault{CredentialsFault::kMissing, 0, "user", 0});
  return StoreCredentials{std::move(values[0]), std::move(values[1])};
}

}  // namespace orbitel::data
