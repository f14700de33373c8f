#include "runtime/CredentialsFile.h"

#include <cerrno>
#include <cstdio>
#include <memory>

#include "runtime/TrimBlanks.h"

namespace orbitel {
namespace {

// A credentials file is two short lines; anything much larger is the wrong file.
constexpr std::size_t kLargestFile = 64 * 1024;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::variant<std::string, CredentialsFault> ReadWhole(const std::string& path) {
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rbe"));
  if (!file) {
    const int error = errno;
    const bool missing = error == ENOENT || error == ENOTDIR;
    return CredentialsFault{missing ? CredentialsFault::kNotFound : CredentialsFault::kCannotOpen, 0, "", error};
  }
  std::string text;
  char buffer[4096];
  for (;;) {
    const std::size_t count = std::fread(buffer, 1, sizeof buffer, file.get());
    text.append(buffer, count);
    if (text.size() > kLargestFile) return CredentialsFault{CredentialsFault::kTooLarge, 0, "", 0};
    if (count < sizeof buffer) break;
  }
  // A folder opens but does not read.
  if (std::ferror(file.get())) return CredentialsFault{CredentialsFault::kCannotRead, 0, "", errno ? errno : EIO};
  return text;
}

}  // namespace

std::variant<std::vector<std::string>, CredentialsFault> ReadCredentials(const std::string& path,
                                                                         const CredentialsFormat& format) {
  auto whole = ReadWhole(path);
  if (auto* fault = std::get_if<CredentialsFault>(&whole)) return *fault;
  const auto at = [](CredentialsFault::Kind kind, int line, std::string_view name) {
    return CredentialsFault{kind, line, std::string(name), 0};
  };

  std::vector<std::optional<std::string>> values(format.names.size());
  std::string_view rest = std::get<std::string>(whole);
  for (int number = 1; !rest.empty(); ++number) {
    const std::size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    line = TrimBlanks(line);
    if (line.empty() || line.front() == '#') continue;

    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return at(CredentialsFault::kNoColon, number, "");
    const std::string_view name = TrimBlanks(line.substr(0, colon));
    std::string_view value = line.substr(colon + 1);
    const bool base64 = format.decode_base64 != nullptr && !value.empty() && value.front() == ':';
    if (base64) value.remove_prefix(1);
    value = TrimBlanks(value);

    std::size_t slot = 0;
    while (slot < format.names.size() && !EqualsIgnoringCase(name, format.names[slot])) ++slot;
    if (slot == format.names.size()) return at(CredentialsFault::kUnknownName, number, name);
    if (values[slot]) return at(CredentialsFault::kRepeated, number, name);
    if (base64) {
      values[slot] = format.decode_base64(value);
      if (!values[slot]) return at(CredentialsFault::kNotBase64, number, name);
    } else {
      values[slot] = std::string(value);
    }
    if (values[slot]->empty() && !format.empty_values) return at(CredentialsFault::kEmpty, number, name);
  }
  std::vector<std::string> found;
  for (std::size_t slot = 0; slot < format.names.size(); ++slot) {
    if (!values[slot]) return at(CredentialsFault::kMissing, 0, format.names[slot]);
    found.push_back(std::move(*values[slot]));
  }
  return found;
}

}  // namespace orbitel
