#include "store/StoreCredentials.h"

#include <filesystem>
#include <fstream>

#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

Status LineError(int line, const std::string& path, const std::string& what) {
  return Status::Error(errors::kSyntaxError,
                       "line " + std::to_string(line) + " of " + path + ": " + what);
}

}  // namespace

Result<StoreCredentials> ReadStoreCredentials(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) {
    return Status::Error(errors::kPathNotFound, "The store credentials file " + path +
                                                    " does not exist");
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return Status::Error(errors::kPermissionDenied, "The store credentials file " + path +
                                                        " cannot be read");
  }
  StoreCredentials credentials;
  bool has_user = false;
  bool has_password = false;
  std::string text;
  int number = 0;
  while (std::getline(file, text)) {
    ++number;
    if (!text.empty() && text.back() == '\r') text.pop_back();
    const std::string line = Trim(text);
    if (line.empty() || line.front() == '#') continue;
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) return LineError(number, path, "expected \"name: value\"");
    const std::string name = ToLower(Trim(line.substr(0, colon)));
    const std::string value = Trim(line.substr(colon + 1));
    bool* seen = name == "user" ? &has_user : name == "password" ? &has_password : nullptr;
    if (seen == nullptr) {
      return LineError(number, path, "unknown name \"" + name + "\" (user or password)");
    }
    if (*seen) return LineError(number, path, "\"" + name + "\" is given twice");
    *seen = true;
    (name == "user" ? credentials.user : credentials.password) = value;
  }
  if (!has_user || credentials.user.empty() || !has_password) {
    return Status::Error(errors::kSyntaxError, "The store credentials file " + path +
                                                   " needs a user and a password line");
  }
  return credentials;
}

}  // namespace orbitel::data
