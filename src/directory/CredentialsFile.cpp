#include "directory/CredentialsFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include "directory/LdifReader.h"
#include "directory/DirectoryErrors.h"
#include "runtime/TrimBlanks.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::directory {
namespace {

// A credentials file is two short lines; anything much larger is the wrong file.
constexpr std::size_t kLargestFile = 64 * 1024;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

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

Status Malformed(const std::string& path, int line, const std::string& why) {
  std::string where = line > 0 ? " at line " + std::to_string(line) : std::string();
  return Status::Error(errors::kDirectoryFileMalformed,
                       "The directory credentials file " + path + " is malformed" + where + ": " +
                           why);
}

Result<std::string> ReadWhole(const std::string& path) {
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rbe"));
  if (!file) return FileError(path, errno);
  std::string text;
  char buffer[4096];
  for (;;) {
    std::size_t count = std::fread(buffer, 1, sizeof buffer, file.get());
    text.append(buffer, count);
    if (text.size() > kLargestFile) return Malformed(path, 0, "it is far too large");
    if (count < sizeof buffer) break;
  }
  // A folder opens but does not read.
  if (std::ferror(file.get())) return FileError(path, errno ? errno : EIO);
  return text;
}

}  // namespace

Result<BindCredentials> ReadCredentialsFile(const std::string& path) {
  Result<std::string> text = ReadWhole(path);
  if (!text.ok()) return text.status();

  std::optional<std::string> dn;
  std::optional<std::string> password;
  std::string_view rest = *text;
  for (int number = 1; !rest.empty(); ++number) {
    std::size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    line = TrimBlanks(line);
    if (line.empty() || line.front() == '#') continue;

    std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
      return Malformed(path, number, "expected \"dn: <bind DN>\" or \"password: <password>\"");
    }
    std::string_view name = TrimBlanks(line.substr(0, colon));
    std::string_view value = line.substr(colon + 1);
    bool base64 = !value.empty() && value.front() == ':';
    if (base64) value.remove_prefix(1);
    value = TrimBlanks(value);

    std::optional<std::string>* slot = nullptr;
    if (EqualsIgnoringCase(name, "dn")) {
      slot = &dn;
    } else if (EqualsIgnoringCase(name, "password")) {
      slot = &password;
    } else {
      return Malformed(path, number, "unknown name \"" + std::string(name) +
                                         "\" (only dn and password belong here)");
    }
    if (*slot) return Malformed(path, number, "a second " + std::string(name) + " line");
    if (base64) {
      std::optional<std::string> decoded = DecodeLdifBase64(value);
      if (!decoded) return Malformed(path, number, "the " + std::string(name) + " is not base64");
      *slot = std::move(*decoded);
    } else {
      *slot = std::string(value);
    }
    // An empty password would make an unauthenticated bind, which servers take as anonymous.
    if ((*slot)->empty()) return Malformed(path, number, "the " + std::string(name) + " is empty");
  }
  if (!dn) return Malformed(path, 0, "there is no \"dn: <bind DN>\" line");
  if (!password) return Malformed(path, 0, "there is no \"password: <password>\" line");
  return BindCredentials{std::move(*dn), std::move(*password)};
}

}  // namespace orbitel::directory
